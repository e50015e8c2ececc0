// Pointer arrays: words in the caller's order, with a notice to callbacks for each change.
//
// A callback may change or destroy the array, so an operation sends its notice last. An operation
// that sends several holds the array's callback list for reading: the list then stays allocated and
// shows whether it, and the array with it, was destroyed. Destroying sends a notice before its last
// step; a callback of that notice cannot destroy the array again.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "callback/callback.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

// What callers do not see of an array.
struct PtrAry : ZutPtrAry {
  bool ending; // it is being destroyed
};

// --- Notices ---

void notify(ZutPtrAry &array, ZutPtrAryChangeData data) {
  if (array.change_cbs) ZutCbListCall(array.change_cbs, &array, &data);
}

void notify(ZutPtrAry &array, int32_t kind, ZutWord item, int32_t index) {
  notify(array, {nullptr, kind, item, index, 0, -1});
}

void notifyInserted(ZutPtrAry &array, int32_t first, int32_t last) {
  ZutCbList *list = array.change_cbs;
  if (!list) return;
  ThreadBlock &self = utThreadBlock();
  utListRead(self, list->lock);
  for (int32_t i = first; !list->destroyPending && i <= last && i < array.count; ++i)
    notify(array, Z_PTR_ARY_INSERTED, array.items[i], i);
  utCbListLeave(self, *list);
}

// The type, made by the first callback.
ZutCbType *changeType() {
  static std::atomic<ZutCbType *> made;
  if (ZutCbType *type = made.load(std::memory_order_acquire)) return type;
  const ProcessGuard guard;
  ZutCbType *type = made.load(std::memory_order_relaxed);
  if (!type) {
    type = ZutCbTypeCreate(Z_CB_TYPE_PTR_ARY_CHANGE, "ptr_ary_change");
    ZutCbTypeSetGlobFlag(type, Z_CB_NO_GLOBALS);
    ZutCbTypeSetLocalFlag(type, Z_CB_DIRECT);
    made.store(type, std::memory_order_release);
  }
  return type;
}

// --- Items ---

bool isUsable(const ZutPtrAry *array) {
  return (array && array->items) || utFail(Err::nullPointer);
}

bool hasIndex(const ZutPtrAry &array, int32_t index) {
  return (index >= 0 && index < array.count) || utFail(Err::invalid);
}

// The index of the first copy of an item; -1 with error 8 when there is none.
int32_t find(const ZutPtrAry &array, ZutWord item) {
  const ZutWord *begin = array.items;
  const ZutWord *end = begin + array.count;
  const ZutWord *found = std::find(begin, end, item);
  if (found != end) return static_cast<int32_t>(found - begin);
  utErrSet(Err::notFound);
  return -1;
}

// A capacity that cannot be allocated ends in the fatal report.
void setCapacity(ZutPtrAry &array, int64_t capacity) {
  constexpr int64_t most = INT32_MAX / sizeof(ZutWord);
  const int64_t bytes = capacity < most ? (capacity + 1) * sizeof(ZutWord) : -1;
  array.items = static_cast<ZutWord *>(
      Z_REALLOC(array.items, static_cast<int32_t>(bytes), "ptr_ary->ptr_ary"));
  array.capacity = static_cast<uint32_t>(capacity);
  utCheck(static_cast<uint32_t>(array.count) <= array.capacity);
}

void makeRoomForOne(ZutPtrAry &array) {
  if (static_cast<uint32_t>(array.count) == array.capacity)
    setCapacity(array, int64_t{array.capacity} + array.increment);
}

void insert(ZutPtrAry &array, ZutWord item, int32_t index) {
  makeRoomForOne(array);
  utCheck(index >= 0 && index <= array.count);
  ZutWord *place = array.items + index;
  std::copy_backward(place, array.items + array.count, array.items + array.count + 1);
  *place = item;
  ++array.count;
  notify(array, Z_PTR_ARY_INSERTED, item, index);
}

ZutWord remove(ZutPtrAry &array, int32_t index) {
  utCheck(index >= 0 && index < array.count);
  ZutWord *place = array.items + index;
  const ZutWord item = *place;
  std::copy(place + 1, array.items + array.count, place);
  --array.count;
  return item;
}

// --- Sorting ---

// Puts `item` into the heap of entries 1 to `last` below the free entry `top`. The free entry first
// sinks to a leaf, each time past the greater child, then rises to the item's place.
void sink(ZutWord *heap, int32_t top, int32_t last, ZutWord item, ZutPtrAryCompareFunc compare) {
  int32_t place = top;
  for (int32_t child; (child = 2 * place) <= last; place = child) {
    if (child < last) child += compare(heap[child], heap[child + 1]) < 0; // branch-free
    heap[place] = heap[child];
  }
  for (int32_t parent; (parent = place / 2) >= top; place = parent) {
    if (compare(heap[parent], item) >= 0) break;
    heap[place] = heap[parent];
  }
  heap[place] = item;
}

// Heapsort. The heap is numbered from 1; the spare entry at the end holds item 0.
void sort(ZutWord *items, int32_t count, ZutPtrAryCompareFunc compare) {
  items[count] = items[0];
  for (int32_t top = count / 2; top >= 1; --top) sink(items, top, count, items[top], compare);
  for (int32_t last = count; last > 1; --last) {
    const ZutWord item = items[last];
    items[last] = items[1];
    sink(items, 1, last - 1, item, compare);
  }
  std::copy(items + 1, items + count + 1, items);
}

} // namespace

extern "C" {

ZutPtrAry *Z_CALL ZutPtrAryCreate(int32_t size) {
  if (size < 1) return utFailNull(Err::tooSmall);
  auto *array = utNew<PtrAry>("ptr_ary");
  array->items = utNewArray<ZutWord>(int64_t{size} + 1, "ptr_ary->ptr_ary");
  array->capacity = array->increment = static_cast<uint32_t>(size);
  return array;
}

int32_t Z_CALL ZutPtrAryDestroy(ZutPtrAry *array, ZutPtrAryFunc function, ZutWord argument) {
  if (!isUsable(array)) return 0;
  if (std::exchange(static_cast<PtrAry *>(array)->ending, true)) return utFail(Err::objectInUse);
  ZutPtrAryClear(array, function, argument);
  ZutCbList *list = array->change_cbs; // `function` may have made the first change callback
  const int32_t result = list ? ZutCbListDestroy(list) : 1;
  Z_FREE(array->items, "ptr_ary->ptr_ary");
  Z_FREE(array, "ptr_ary");
  return result;
}

int32_t Z_CALL ZutPtrAryClear(ZutPtrAry *array, ZutPtrAryFunc function, ZutWord argument) {
  if (!isUsable(array)) return 0;
  for (int32_t i = 0; i < array->count; ++i) {
    if (function) function(i, array->items[i], argument);
    array->items[i] = 0;
  }
  array->count = 0;
  notify(*array, Z_PTR_ARY_CLEARED, 0, -1);
  return 1;
}

int32_t Z_CALL ZutPtrAryAppend(ZutPtrAry *array, ZutWord item, int32_t *index_out) {
  if (!isUsable(array)) return 0;
  makeRoomForOne(*array);
  const int32_t index = array->count++;
  array->items[index] = item;
  if (index_out) *index_out = index;
  notify(*array, Z_PTR_ARY_INSERTED, item, index);
  return 1;
}

int32_t Z_CALL ZutPtrAryAppendAll(ZutPtrAry *array, const ZutPtrAry *source, int32_t *first_out,
                                  int32_t *last_out) {
  if (!isUsable(array) || !isUsable(source)) return 0;
  const int32_t first = array->count;
  const int32_t added = source->count;
  const int64_t total = int64_t{first} + added;
  if (total > array->capacity)
    setCapacity(*array, total + array->increment - total % array->increment);
  std::copy(source->items, source->items + added, array->items + first);
  array->count = static_cast<int32_t>(total);
  utCheck(total <= array->capacity);
  const int32_t last = array->count - 1;
  if (first_out) *first_out = first;
  if (last_out) *last_out = last;
  notifyInserted(*array, first, last);
  return 1;
}

int32_t Z_CALL ZutPtrAryInsertItemAtIndex(ZutPtrAry *array, ZutWord item, int32_t index) {
  if (!isUsable(array)) return 0;
  if (index != array->count && !hasIndex(*array, index)) return 0;
  insert(*array, item, index);
  return 1;
}

// For an insertion before the last item the notice has the new index of that item. Kept: mirrors of
// the array rely on it.
int32_t Z_CALL ZutPtrAryInsertBefore(ZutPtrAry *array, ZutWord existing, ZutWord item) {
  if (!isUsable(array)) return 0;
  const int32_t index = find(*array, existing);
  if (index < 0) return 0;
  if (index < array->count - 1) {
    insert(*array, item, index);
    return 1;
  }
  makeRoomForOne(*array);
  array->items[index] = item;
  array->items[array->count++] = existing;
  notify(*array, Z_PTR_ARY_INSERTED, item, index + 1);
  return 1;
}

int32_t Z_CALL ZutPtrAryInsertAfter(ZutPtrAry *array, ZutWord existing, ZutWord item) {
  if (!isUsable(array)) return 0;
  const int32_t index = find(*array, existing);
  if (index < 0) return 0;
  insert(*array, item, index + 1);
  return 1;
}

int32_t Z_CALL ZutPtrAryRemoveItemAtIndex(ZutPtrAry *array, int32_t index, ZutWord *item_out) {
  if (!isUsable(array)) return 0;
  if (array->count == 0) return utFail(Err::tooSmall);
  if (!hasIndex(*array, index)) return 0;
  const ZutWord item = remove(*array, index);
  if (item_out) *item_out = item;
  notify(*array, Z_PTR_ARY_REMOVED, item, index);
  return 1;
}

int32_t Z_CALL ZutPtrAryRemove(ZutPtrAry *array, ZutWord item) {
  if (!isUsable(array)) return 0;
  if (array->count == 0) return utFail(Err::tooSmall);
  const int32_t index = find(*array, item);
  return index < 0 ? 0 : ZutPtrAryRemoveItemAtIndex(array, index, nullptr);
}

int32_t Z_CALL ZutPtrAryRemoveAll(ZutPtrAry *array, ZutWord item, int32_t *count_out) {
  if (!isUsable(array)) return 0;
  if (!count_out) return utFail(Err::nullPointer);
  const ZutWord *end = array->items + array->count;
  const ZutWord *kept = std::remove(array->items, array->items + array->count, item);
  *count_out = static_cast<int32_t>(end - kept);
  if (*count_out == 0) return utFail(Err::notFound);
  array->count -= *count_out;
  notify(*array, Z_PTR_ARY_ALL_REMOVED, item, -1);
  return 1;
}

int32_t Z_CALL ZutPtrAryReplaceItemAtIndex(ZutPtrAry *array, ZutWord item, int32_t index,
                                           ZutWord *old_out) {
  if (!isUsable(array) || !hasIndex(*array, index)) return 0;
  if (old_out) *old_out = array->items[index];
  array->items[index] = item;
  notify(*array, Z_PTR_ARY_REPLACED, item, index);
  return 1;
}

int32_t Z_CALL ZutPtrArySwapItems(ZutPtrAry *array, int32_t index_a, int32_t index_b) {
  if (!isUsable(array) || !hasIndex(*array, index_a) || !hasIndex(*array, index_b)) return 0;
  ZutWord &a = array->items[index_a];
  ZutWord &b = array->items[index_b];
  std::swap(a, b);
  notify(*array, {nullptr, Z_PTR_ARY_SWAPPED, a, index_a, b, index_b});
  return 1;
}

int32_t Z_CALL ZutPtrAryGetItemAtIndex(ZutPtrAry *array, int32_t index, ZutWord *item_out) {
  if (!isUsable(array)) return 0;
  if (!item_out) return utFail(Err::nullPointer);
  if (!hasIndex(*array, index)) return 0;
  *item_out = array->items[index];
  return 1;
}

int32_t Z_CALL ZutPtrAryGetItemIndex(ZutPtrAry *array, ZutWord item, int32_t *index_out) {
  if (!isUsable(array)) return 0;
  if (!index_out) return utFail(Err::nullPointer);
  const int32_t index = find(*array, item);
  if (index < 0) return 0;
  *index_out = index;
  return 1;
}

int32_t Z_CALL ZutPtrAryItemExists(ZutPtrAry *array, ZutWord item) {
  return isUsable(array) && find(*array, item) >= 0;
}

ZutWord *Z_CALL ZutPtrAryGetArray(ZutPtrAry *array) { return array->items; }

int32_t Z_CALL ZutPtrArySort(ZutPtrAry *array, ZutPtrAryCompareFunc compare) {
  if (!isUsable(array)) return 0;
  if (!compare) return utFail(Err::nullPointer);
  if (array->count > 1) sort(array->items, array->count, compare);
  notify(*array, Z_PTR_ARY_SORTED, 0, -1);
  return 1;
}

ZutCb *Z_CALL ZutPtrAryChangeCbCreate(ZutPtrAry *array, ZutCbFunc function, ZutWord argument) {
  if (!isUsable(array)) return nullptr;
  if (!function) return utFailNull(Err::nullPointer);
  if (!array->change_cbs) array->change_cbs = ZutCbListCreate(changeType(), array);
  return ZutCbListCbCreate(array->change_cbs, function, argument);
}

ZutCb *Z_CALL ZutPtrAryChangeCbLookup(ZutPtrAry *array, ZutCbFunc function, ZutWord argument) {
  if (!isUsable(array)) return nullptr;
  if (!function) return utFailNull(Err::nullPointer);
  if (!array->change_cbs) return utFailNull(Err::notFound);
  return ZutCbListCbLookup(array->change_cbs, function, argument);
}

} // extern "C"
