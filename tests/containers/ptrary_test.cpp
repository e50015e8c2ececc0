#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <functional>
#include <random>

namespace {

using Data = ZutPtrAryChangeData;
using Reaction = std::function<void(ZutPtrAry *, Data *)>;

template <class T>
ZutWord word(T &object) {
  return reinterpret_cast<ZutWord>(&object);
}

// Items are digits.
ZutPtrAry *make(int32_t size, const std::string &items) {
  ZutPtrAry *array = ZutPtrAryCreate(size);
  for (char item : items) ZutPtrAryAppend(array, item - '0', nullptr);
  return array;
}

std::string textOf(ZutPtrAry *array) {
  std::string text;
  for (int32_t i = 0; i < array->count; ++i) text += std::to_string(ZutPtrAryGetArray(array)[i]);
  return text;
}

// Notices as "kind item index" and, where they are not 0 and -1, the second pair.
void Z_CALL note(void *, void *callData, ZutWord argument) {
  const auto &data = *static_cast<Data *>(callData);
  auto &text = *reinterpret_cast<std::string *>(argument);
  text += (text.empty() ? "" : ", ") + std::to_string(data.kind);
  for (ZutWord number : {data.item, ZutWord{data.index}}) text += ' ' + std::to_string(number);
  if (data.item2 == 0 && data.index2 == -1) return;
  for (ZutWord number : {data.item2, ZutWord{data.index2}}) text += ' ' + std::to_string(number);
}

void Z_CALL react(void *array, void *data, ZutWord reaction) {
  (*reinterpret_cast<Reaction *>(reaction))(static_cast<ZutPtrAry *>(array),
                                            static_cast<Data *>(data));
}

int32_t Z_CALL ascending(ZutWord a, ZutWord b) { return a < b ? -1 : a > b; }

ZutWord item = 0;
int32_t number = 0;
ZutPtrAry *three = make(3, "789");

// By a letter, with the numbers that it needs.
struct Operation {
  char letter;
  int32_t i = 0, j = 0;

  int32_t operator()(ZutPtrAry *a) const {
    switch (letter) {
    case '+': return ZutPtrAryAppend(a, 4, &number);
    case '*': return ZutPtrAryAppendAll(a, three, &number, nullptr);
    case '=': return ZutPtrAryAppendAll(a, a, nullptr, &number);
    case 'i': return ZutPtrAryInsertItemAtIndex(a, 4, i);
    case 'b': return ZutPtrAryInsertBefore(a, i, 4);
    case 'a': return ZutPtrAryInsertAfter(a, i, 4);
    case 'd': return ZutPtrAryRemoveItemAtIndex(a, i, &item);
    case '-': return ZutPtrAryRemove(a, i);
    case '_': return ZutPtrAryRemoveAll(a, i, &number);
    case 'r': return ZutPtrAryReplaceItemAtIndex(a, 4, i, &item);
    case 'x': return ZutPtrArySwapItems(a, i, j);
    case 's': return ZutPtrArySort(a, ascending);
    case 'c': return ZutPtrAryClear(a, nullptr, 0);
    case 'g': return ZutPtrAryGetItemAtIndex(a, i, &item);
    case 'f': return ZutPtrAryGetItemIndex(a, i, &number);
    default: return ZutPtrAryItemExists(a, i);
    }
  }
};

const struct {
  std::string items;
  Operation operation;
  ZutWord out; // `number` or `item`, whichever was set
  std::string after, notices;
  int32_t error;
} rows[] = {
    {"12", {'+'}, 2, "124", "0 4 2", 0},
    {"12", {'*'}, 2, "12789", "0 7 2, 0 8 3, 0 9 4", 0},
    {"12", {'='}, 3, "1212", "0 1 2, 0 2 3", 0},
    {"", {'='}, -1, "", "", 0},
    {"12", {'i', 0}, 0, "412", "0 4 0", 0},
    {"12", {'i', 2}, 0, "124", "0 4 2", 0},
    {"12", {'i', 3}, 0, "12", "", 7},
    {"12", {'i', -1}, 0, "12", "", 7},
    {"121", {'b', 1}, 0, "4121", "0 4 0", 0},
    {"12", {'b', 2}, 0, "142", "0 4 2", 0}, // the index of the 2
    {"13", {'b', 2}, 0, "13", "", 8},
    {"121", {'a', 1}, 0, "1421", "0 4 1", 0},
    {"12", {'a', 2}, 0, "124", "0 4 2", 0},
    {"", {'a', 2}, 0, "", "", 8},
    {"123", {'d', 1}, 2, "13", "1 2 1", 0},
    {"123", {'d', 3}, 0, "123", "", 7},
    {"", {'d', 0}, 0, "", "", 4},
    {"211", {'-', 1}, 0, "21", "1 1 1", 0},
    {"2", {'-', 1}, 0, "2", "", 8},
    {"", {'-', 1}, 0, "", "", 4},
    {"12113", {'_', 1}, 3, "23", "3 1 -1", 0},
    {"23", {'_', 1}, 0, "23", "", 8},
    {"123", {'r', 1}, 2, "143", "2 4 1", 0},
    {"123", {'r', 3}, 0, "123", "", 7},
    {"123", {'x', 0, 2}, 0, "321", "4 3 0 1 2", 0},
    {"123", {'x', 0, 3}, 0, "123", "", 7},
    {"123", {'x', -1, 0}, 0, "123", "", 7},
    {"312", {'s'}, 0, "123", "6 0 -1", 0},
    {"", {'s'}, 0, "", "6 0 -1", 0},
    {"12", {'c'}, 0, "", "5 0 -1", 0},
    {"31", {'g', 1}, 1, "31", "", 0},
    {"31", {'g', 2}, 0, "31", "", 7},
    {"311", {'f', 1}, 1, "311", "", 0},
    {"3", {'e', 1}, 0, "3", "", 8},
};

} // namespace

TEST(PtrAry, OperationsTheirNoticesAndTheCapacity) {
  for (const auto &row : rows) {
    SCOPED_TRACE(&row - rows);
    std::string notices, visited;
    ZutPtrAry *array = make(2, row.items);
    ZutCb *cb = ZutPtrAryChangeCbCreate(array, note, word(notices));
    EXPECT_EQ(ZutPtrAryChangeCbLookup(array, note, word(notices)), cb);
    number = 0, item = 0;
    ZutErrNumSet(0);
    EXPECT_EQ(row.operation(array), !row.error);
    EXPECT_EQ(ZutErrNumGet(), row.error);
    EXPECT_EQ(number + item, row.out);
    EXPECT_EQ(textOf(array), row.after);
    EXPECT_EQ(notices, row.notices);
    const size_t most = std::max({row.items.size(), row.after.size(), size_t{2}});
    const bool stepMore = row.after == "1212"; // many at once that just fit
    EXPECT_EQ(array->capacity, (most + 1) / 2 * 2 + (stepMore ? 2 : 0));
    const auto visit = [](int32_t index, ZutWord digit, ZutWord text) {
      auto &all = *reinterpret_cast<std::string *>(text);
      EXPECT_EQ(static_cast<size_t>(index), all.size());
      all += std::to_string(digit);
    };
    EXPECT_EQ(ZutPtrAryDestroy(array, visit, word(visited)), 1);
    EXPECT_EQ(visited, row.after);
  }
}

CHILD(tooLarge) { ZutPtrAryCreate(INT32_MAX / static_cast<int32_t>(sizeof(ZutWord))); }

TEST(PtrAry, ASizeThatDoesNotFitIsFatal) {
  EXPECT_ERROR(4, ZutPtrAryCreate(0));
  const Result result = runChild("tooLarge", {{"VN_FATAL_ERROR_ABORT", "1"}});
  EXPECT_TRUE(result.aborted());
  EXPECT_NE((result.out + result.err).find("ptr_ary->ptr_ary"), std::string::npos);
}

TEST(PtrAry, SortsWhateverTheFunctionSays) {
  std::mt19937 random(1);
  static int32_t answer;
  const auto liar = [](ZutWord, ZutWord) { return answer; };
  for (size_t size = 0; size < 300; size += 1 + size / 8) {
    std::string items(size, '0');
    for (char &digit : items) digit += static_cast<char>(random() % 10);
    ZutPtrAry *array = make(1, items);
    std::sort(items.begin(), items.end());
    for (answer = -1; answer <= 1; ++answer) {
      EXPECT_EQ(ZutPtrArySort(array, liar), 1);
      EXPECT_EQ(ZutPtrArySort(array, ascending), 1); // nothing was lost
      EXPECT_EQ(textOf(array), items);
    }
    ZutPtrAryDestroy(array, nullptr, 0);
  }
}

// Every change of the array by a callback at every notice. The array grows by one item, so it is
// always full and moves when something is added.
TEST(PtrAry, CallbacksMayChangeTheArray) {
  const auto ignore = [](void *, void *, ZutWord) {};
  std::vector<Reaction> reactions = {
      [](ZutPtrAry *a, Data *) { EXPECT_ERROR(32, ZutPtrAryDestroy(a, nullptr, 0)); },
      [](ZutPtrAry *, Data *data) { EXPECT_EQ(ZutCbDestroy(data->cb), 1); },
      [&](ZutPtrAry *a, Data *) { ZutPtrAryChangeCbCreate(a, ignore, 0); }};
  for (const auto &row : rows)
    reactions.push_back([&row](ZutPtrAry *a, Data *) { row.operation(a); });
  for (const auto &row : rows) {
    for (const Reaction &reaction : reactions) {
      if (row.notices.empty()) continue;
      ZutPtrAry *array = make(1, row.items);
      bool armed = true;
      Reaction once = [&](ZutPtrAry *a, Data *data) {
        if (std::exchange(armed, false)) reaction(a, data);
      };
      ZutPtrAryChangeCbCreate(array, react, word(once));
      EXPECT_EQ(row.operation(array), 1);
      EXPECT_FALSE(armed);
      if (&reaction == reactions.data()) continue; // destroyed
      EXPECT_EQ(ZutPtrAryClear(array, nullptr, 0), 1);
      EXPECT_EQ(ZutPtrAryAppendAll(array, three, nullptr, nullptr), 1);
      EXPECT_EQ(textOf(array), "789");
      EXPECT_EQ(ZutPtrAryDestroy(array, nullptr, 0), 1);
    }
  }
}

// The inner change's notice comes first; later notices show the array as it then is.
TEST(PtrAry, NoticesWhileCallbacksChangeTheArray) {
  ZutPtrAry *array = make(1, "1");
  std::string notices;
  Reaction change = [](ZutPtrAry *a, Data *data) {
    if (data->item == 7) ZutPtrAryRemoveItemAtIndex(a, 0, nullptr);
    if (data->kind != Z_PTR_ARY_CLEARED) return;
    EXPECT_ERROR(32, ZutPtrAryDestroy(a, nullptr, 0));
  };
  ZutPtrAryChangeCbCreate(array, react, word(change));
  ZutPtrAryChangeCbCreate(array, note, word(notices));
  EXPECT_EQ(ZutPtrAryAppendAll(array, three, nullptr, nullptr), 1);
  EXPECT_EQ(textOf(array), "789");
  EXPECT_EQ(notices, "1 1 0, 0 7 1, 0 9 2");
  EXPECT_EQ(ZutPtrAryDestroy(array, nullptr, 0), 1);
}
