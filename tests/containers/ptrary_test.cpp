#include "support/child.h"

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using Data = ZutPtrAryChangeData;
using Operation = std::function<int32_t(ZutPtrAry *)>;
using Reaction = std::function<void(ZutPtrAry *, Data *)>;

int32_t Z_CALL ascending(ZutWord a, ZutWord b) { return a < b ? -1 : a > b; }

ZutPtrAry *make(int32_t size, const std::vector<ZutWord> &items) {
  ZutPtrAry *array = ZutPtrAryCreate(size);
  for (ZutWord item : items) ZutPtrAryAppend(array, item, nullptr);
  return array;
}

std::vector<ZutWord> itemsOf(ZutPtrAry *array) {
  return {ZutPtrAryGetArray(array), ZutPtrAryGetArray(array) + array->count};
}

std::string textOf(ZutPtrAry *array) {
  std::string text;
  for (ZutWord item : itemsOf(array)) text += std::to_string(item);
  return text;
}

// Notices as "kind item index" and, where they are not 0 and -1, the second pair.
void Z_CALL note(void *, void *callData, ZutWord argument) {
  const auto &data = *static_cast<Data *>(callData);
  auto &text = *reinterpret_cast<std::string *>(argument);
  if (!text.empty()) text += ", ";
  for (ZutWord number : {ZutWord{data.kind}, data.item, ZutWord{data.index}})
    text += std::to_string(number) + ' ';
  text.pop_back();
  if (data.item2 != 0 || data.index2 != -1)
    text += " " + std::to_string(data.item2) + ' ' + std::to_string(data.index2);
}

void Z_CALL react(void *array, void *data, ZutWord reaction) {
  (*reinterpret_cast<Reaction *>(reaction))(static_cast<ZutPtrAry *>(array),
                                            static_cast<Data *>(data));
}

template <class T>
ZutWord word(T &object) {
  return reinterpret_cast<ZutWord>(&object);
}

ZutWord kept = 0;
int32_t number = 0;
ZutPtrAry *three = make(3, {7, 8, 9});

int32_t append(ZutPtrAry *a) { return ZutPtrAryAppend(a, 4, &number); }
int32_t appendAll(ZutPtrAry *a) { return ZutPtrAryAppendAll(a, three, &number, nullptr); }
int32_t appendSelf(ZutPtrAry *a) { return ZutPtrAryAppendAll(a, a, nullptr, &number); }
int32_t before2(ZutPtrAry *a) { return ZutPtrAryInsertBefore(a, 2, 4); }
int32_t before1(ZutPtrAry *a) { return ZutPtrAryInsertBefore(a, 1, 4); }
int32_t after2(ZutPtrAry *a) { return ZutPtrAryInsertAfter(a, 2, 4); }
int32_t after1(ZutPtrAry *a) { return ZutPtrAryInsertAfter(a, 1, 4); }
int32_t remove1(ZutPtrAry *a) { return ZutPtrAryRemove(a, 1); }
int32_t removeAll1(ZutPtrAry *a) { return ZutPtrAryRemoveAll(a, 1, &number); }
int32_t find1(ZutPtrAry *a) { return ZutPtrAryGetItemIndex(a, 1, &number); }
int32_t has1(ZutPtrAry *a) { return ZutPtrAryItemExists(a, 1); }
int32_t sort(ZutPtrAry *a) { return ZutPtrArySort(a, ascending); }
int32_t clear(ZutPtrAry *a) { return ZutPtrAryClear(a, nullptr, 0); }
template <int32_t i>
int32_t insertAt(ZutPtrAry *a) {
  return ZutPtrAryInsertItemAtIndex(a, 4, i);
}
template <int32_t i>
int32_t removeAt(ZutPtrAry *a) {
  return ZutPtrAryRemoveItemAtIndex(a, i, &kept);
}
template <int32_t i>
int32_t replaceAt(ZutPtrAry *a) {
  return ZutPtrAryReplaceItemAtIndex(a, 4, i, &kept);
}
template <int32_t i>
int32_t getAt(ZutPtrAry *a) {
  return ZutPtrAryGetItemAtIndex(a, i, &kept);
}
template <int32_t i, int32_t j>
int32_t swap(ZutPtrAry *a) {
  return ZutPtrArySwapItems(a, i, j);
}

} // namespace

TEST(PtrAry, OperationsAndTheirNotices) {
  const struct {
    std::vector<ZutWord> items;
    Operation operation;
    ZutWord out; // `number` or `kept`, whichever was set
    std::string after, notices;
    int32_t error;
  } rows[] = {
      {{1, 2}, append, 2, "124", "0 4 2", 0},
      {{1, 2}, appendAll, 2, "12789", "0 7 2, 0 8 3, 0 9 4", 0},
      {{1, 2}, appendSelf, 3, "1212", "0 1 2, 0 2 3", 0},
      {{}, appendSelf, -1, "", "", 0},
      {{1, 2}, insertAt<0>, 0, "412", "0 4 0", 0},
      {{1, 2}, insertAt<2>, 0, "124", "0 4 2", 0},
      {{1, 2}, insertAt<3>, 0, "12", "", 7},
      {{1, 2}, insertAt<-1>, 0, "12", "", 7},
      {{1, 2, 1}, before1, 0, "4121", "0 4 0", 0},
      {{1, 2}, before2, 0, "142", "0 4 2", 0}, // the index of the 2
      {{1, 3}, before2, 0, "13", "", 8},
      {{1, 2, 1}, after1, 0, "1421", "0 4 1", 0},
      {{1, 2}, after2, 0, "124", "0 4 2", 0},
      {{}, after2, 0, "", "", 8},
      {{1, 2, 3}, removeAt<1>, 2, "13", "1 2 1", 0},
      {{1, 2, 3}, removeAt<3>, 0, "123", "", 7},
      {{}, removeAt<0>, 0, "", "", 4},
      {{2, 1, 1}, remove1, 0, "21", "1 1 1", 0},
      {{2}, remove1, 0, "2", "", 8},
      {{}, remove1, 0, "", "", 4},
      {{1, 2, 1, 1, 3}, removeAll1, 3, "23", "3 1 -1", 0},
      {{2, 3}, removeAll1, 0, "23", "", 8},
      {{1, 2, 3}, replaceAt<1>, 2, "143", "2 4 1", 0},
      {{1, 2, 3}, replaceAt<3>, 0, "123", "", 7},
      {{1, 2, 3}, swap<0, 2>, 0, "321", "4 3 0 1 2", 0},
      {{1, 2, 3}, swap<0, 3>, 0, "123", "", 7},
      {{1, 2, 3}, swap<-1, 0>, 0, "123", "", 7},
      {{3, 1, 2}, sort, 0, "123", "6 0 -1", 0},
      {{}, sort, 0, "", "6 0 -1", 0},
      {{1, 2}, clear, 0, "", "5 0 -1", 0},
      {{3, 1}, getAt<1>, 1, "31", "", 0},
      {{3, 1}, getAt<2>, 0, "31", "", 7},
      {{3, 1, 1}, find1, 1, "311", "", 0},
      {{3}, has1, 0, "3", "", 8},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    std::string notices;
    ZutPtrAry *array = make(2, row.items);
    ZutCb *cb = ZutPtrAryChangeCbCreate(array, note, word(notices));
    EXPECT_EQ(ZutPtrAryChangeCbLookup(array, note, word(notices)), cb);
    number = 0, kept = 0;
    ZutErrNumSet(0);
    EXPECT_EQ(row.operation(array), !row.error);
    EXPECT_EQ(ZutErrNumGet(), row.error);
    EXPECT_EQ(number + kept, row.out);
    EXPECT_EQ(textOf(array), row.after);
    EXPECT_EQ(notices, row.notices);
    EXPECT_EQ(ZutPtrAryDestroy(array, nullptr, 0), 1);
  }
}

TEST(PtrAry, GrowsInSteps) {
  ZutPtrAry *array = make(2, {});
  for (const uint32_t capacity : {2, 2, 4, 4, 6}) {
    append(array);
    EXPECT_EQ(array->capacity, capacity);
  }
  appendAll(array); // 8, a multiple: one step more
  EXPECT_EQ(array->capacity, 10u);
  ZutPtrAry *other = make(4, {1, 2});
  appendAll(other);
  EXPECT_EQ(other->capacity, 8u);
  std::string cleared;
  const auto note = [](int32_t index, ZutWord item, ZutWord text) {
    *reinterpret_cast<std::string *>(text) += std::to_string(index * 10 + item) + ' ';
  };
  ZutPtrAryDestroy(other, note, word(cleared));
  EXPECT_EQ(cleared, "1 12 27 38 49 ");
  ZutPtrAryDestroy(array, nullptr, 0);
  EXPECT_EQ(ZutPtrAryCreate(0), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 4);
}

CHILD(tooLarge) { ZutPtrAryCreate(INT32_MAX / static_cast<int32_t>(sizeof(ZutWord))); }

TEST(PtrAry, ASizeThatDoesNotFitIsFatal) {
  const Result result = runChild("tooLarge", {{"VN_FATAL_ERROR_ABORT", "1"}});
  EXPECT_TRUE(result.aborted());
  EXPECT_NE((result.out + result.err).find("ptr_ary->ptr_ary"), std::string::npos);
}

TEST(PtrAry, SortsWhateverTheFunctionSays) {
  std::mt19937 random(1);
  static int32_t answer;
  for (size_t size = 0; size < 300; size += 1 + size / 8) {
    std::vector<ZutWord> items(size);
    for (ZutWord &item : items) item = static_cast<ZutWord>(random() % 100) - 50;
    ZutPtrAry *array = make(1, items);
    EXPECT_EQ(sort(array), 1);
    std::sort(items.begin(), items.end());
    EXPECT_EQ(itemsOf(array), items);
    for (answer = -1; answer <= 1; ++answer) {
      ZutPtrArySort(array, [](ZutWord, ZutWord) { return answer; });
      std::vector<ZutWord> left = itemsOf(array);
      std::sort(left.begin(), left.end());
      EXPECT_EQ(left, items);
    }
    ZutPtrAryDestroy(array, nullptr, 0);
  }
}

// Every change of the array by a callback at every notice. The array is made full, so that it
// moves when something is added.
TEST(PtrAry, CallbacksMayChangeTheArray) {
  const Operation operations[] = {append,     appendAll, appendSelf, insertAt<1>, before2,
                                  after1,     remove1,   removeAll1, sort,        replaceAt<1>,
                                  swap<0, 2>, clear,     removeAt<1>};
  std::vector<Reaction> reactions = {
      [](ZutPtrAry *, Data *data) { EXPECT_EQ(ZutCbDestroy(data->cb), 1); },
      [](ZutPtrAry *a, Data *) {
        ZutPtrAryChangeCbCreate(
            a, [](void *, void *, ZutWord) {}, 0);
      },
      [](ZutPtrAry *a, Data *) {
        EXPECT_EQ(ZutPtrAryDestroy(a, nullptr, 0), 0);
        EXPECT_EQ(ZutErrNumGet(), 32);
      }};
  const size_t destroys = reactions.size() - 1;
  for (const Operation &change : operations)
    reactions.push_back([change](ZutPtrAry *a, Data *) { change(a); });
  for (const Operation &operation : operations) {
    for (const Reaction &reaction : reactions) {
      ZutPtrAry *array = make(3, {3, 1, 2});
      bool armed = true;
      Reaction once = [&](ZutPtrAry *a, Data *data) {
        if (std::exchange(armed, false)) reaction(a, data);
      };
      ZutPtrAryChangeCbCreate(array, react, word(once));
      EXPECT_EQ(operation(array), 1);
      EXPECT_FALSE(armed);
      if (&reaction == &reactions[destroys]) continue;
      EXPECT_EQ(clear(array), 1);
      EXPECT_EQ(appendAll(array), 1);
      EXPECT_EQ(textOf(array), "789");
      EXPECT_EQ(ZutPtrAryDestroy(array, nullptr, 0), 1);
    }
  }
}

// The inner change's notice comes first; the notices that are left tell of what is there by then.
TEST(PtrAry, NoticesWhileCallbacksChangeTheArray) {
  ZutPtrAry *array = make(1, {1});
  std::string notices;
  Reaction removeFirst = [&](ZutPtrAry *a, Data *data) {
    if (data->item == 7) removeAt<0>(a);
  };
  ZutPtrAryChangeCbCreate(array, react, word(removeFirst));
  ZutPtrAryChangeCbCreate(array, note, word(notices));
  EXPECT_EQ(appendAll(array), 1);
  EXPECT_EQ(textOf(array), "789");
  EXPECT_EQ(notices, "1 1 0, 0 7 1, 0 9 2");
  Reaction destroyAgain = [](ZutPtrAry *a, Data *) {
    EXPECT_EQ(ZutPtrAryDestroy(a, nullptr, 0), 0);
    EXPECT_EQ(ZutErrNumGet(), 32);
  };
  ZutPtrAryChangeCbCreate(array, react, word(destroyAgain));
  EXPECT_EQ(ZutPtrAryDestroy(array, nullptr, 0), 1);
}
