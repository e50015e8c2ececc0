#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <sstream>
#include <thread>

namespace {

using Then = std::function<void(ZutCb *, char)>;

int32_t nextNumber = 5000;

ZutCbType *newType(int32_t globalFlag = Z_CB_GLOBALS_OK) {
  ZutCbType *type = ZutCbTypeCreate(++nextNumber, nullptr);
  ZutCbTypeSetGlobFlag(type, globalFlag);
  return type;
}

// An event that records which callbacks were called, and may do something in each.
struct Event {
  ZutCbCallData data = {};
  std::string log;
  Then then;
};

void Z_CALL note(void *, void *data, ZutWord argument) {
  auto &event = *static_cast<Event *>(data);
  event.log += static_cast<char>(argument);
  if (event.then) event.then(event.data.cb, static_cast<char>(argument));
}

void Z_CALL count(void *, void *, ZutWord argument) {
  ++*reinterpret_cast<std::atomic<int> *>(argument);
}

// Counts the notices of its destruction.
void countEnd(ZutCb *cb, std::atomic<int> &ends) {
  const auto notice = [](ZutCb *, ZutCbChangeData *data, ZutWord argument) {
    if (data->kind == Z_CB_CHANGE_DESTROY) count(nullptr, nullptr, argument);
  };
  ZutCbSetChangeFunction(cb, notice, reinterpret_cast<ZutWord>(&ends));
}

ZutCb *add(ZutCbList *list, char name, int16_t priority = 0) {
  ZutCb *cb = ZutCbListCbCreate(list, note, name);
  ZutCbSetPriority(cb, priority);
  return cb;
}

std::string fire(ZutCbList *list, Then then = {}) {
  Event event{{}, "", std::move(then)};
  EXPECT_EQ(ZutCbListCall(list, nullptr, &event), 1);
  return event.log;
}

std::string fireType(ZutCbType *type, void *owner, Then then = {}) {
  Event event{{}, "", std::move(then)};
  EXPECT_EQ(ZutCbTypeCall(type, owner, &event), 1);
  return event.log;
}

ZutCb *find(ZutCbList *list, char name) { return ZutCbListCbLookup(list, note, name); }

class CallbackThreads : public testing::Test {
protected:
  void SetUp() override { ZutInitThreads(); }
};

} // namespace

TEST(Callback, PriorityThenAge) {
  ZutCbList *list = ZutCbListCreate(newType(), nullptr);
  add(list, 'a', 0), add(list, 'b', 5), add(list, 'c', 5), add(list, 'd', -1);
  add(list, 'e', INT16_MAX), add(list, 'f', INT16_MIN);
  EXPECT_EQ(fire(list), "ebcadf");
  ZutCbSetPriority(find(list, 'b'), 0);
  ZutCbSetPriority(find(list, 'a'), 0); // no change: stays before b
  EXPECT_EQ(fire(list), "ecabdf");
  ZutCb *c = find(list, 'c');
  EXPECT_EQ(ZutCbListRemoveCb(list, c), 1);
  EXPECT_ERROR(8, ZutCbListRemoveCb(list, c));
  ZutCbSetPriority(c, -1);
  EXPECT_EQ(ZutCbListInsertCb(list, c), 1);
  EXPECT_ERROR(32, ZutCbListInsertCb(list, c));
  EXPECT_EQ(fire(list), "eabdcf");
  EXPECT_ERROR(6, ZutCbListCbCreate(list, note, 'c'));
  EXPECT_ERROR(8, find(list, 'x'));
  const auto stop = [](ZutCbList *, ZutCb *cb, ZutWord at) {
    return reinterpret_cast<ZutWord>(cb) == at ? 7 : 0;
  };
  EXPECT_EQ(ZutCbListTraverse(list, stop, reinterpret_cast<ZutWord>(c)), 7);
  EXPECT_ERROR(0, ZutCbListTraverse(list, stop, 0)); // the end is no error
  EXPECT_EQ(ZutCbListDestroy(list), 1);
}

// The priorities of a to e are 5 to 1. While b is called: "-x" destroys x, "x7" moves x to the
// priority 7 or adds it there, "!x" calls the list, in which x destroys itself.
TEST(Callback, CallsBearEveryChangeOfTheirList) {
  const std::pair<const char *, const char *> cases[] = {
      {"-b", "abcde"}, {"-c", "abde"},   {"-a-c-d-e", "ab"}, {"z0", "abcdez"}, {"z4", "abcde"},
      {"c9", "abde"},  {"b0", "abcdeb"}, {"!z", "abcde"},    {"!c", "abde"},
  };
  for (const auto &[script, called] : cases) {
    ZutCbList *list = ZutCbListCreate(newType(), nullptr);
    for (char name = 'a'; name <= 'e'; ++name) add(list, name, static_cast<int16_t>('f' - name));
    const char *step = script;
    const auto change = [&](ZutCb *, char name) {
      while (name == 'b' && *step) {
        const char what = step[0], which = step[1];
        step += 2;
        const auto end = [=](ZutCb *cb, char inner) {
          if (inner == which) ZutCbDestroy(cb);
        };
        if (what == '!') EXPECT_EQ(fire(list, end), "abcde");
        else if (what == '-') ZutCbDestroy(find(list, which));
        else if (ZutCb *cb = find(list, what)) ZutCbSetPriority(cb, which - '0');
        else add(list, what, which - '0');
      }
    };
    EXPECT_EQ(fire(list, change), called) << script;
    EXPECT_EQ(ZutCbListDestroy(list), 1);
  }
}

TEST(Callback, AListThatIsCalledIsDestroyedByItsLastCall) {
  ZutCbType *type = newType(Z_CB_NO_GLOBALS);
  int owner = 0;
  for (char name : {'a', 'b', 'c'}) ZutCbTypeCbCreate(type, &owner, note, name);
  ZutCbList *list = nullptr;
  EXPECT_EQ(ZutCbTypeGetCbList(type, &owner, &list), 1);
  EXPECT_EQ(ZutCbListIsActive(list), 0);
  const auto destroy = [&](ZutCb *, char name) {
    EXPECT_EQ(ZutCbListIsActive(list), 1);
    if (name != 'b') return;
    EXPECT_ERROR(32, ZutCbListDestroy(list));
    EXPECT_EQ(fire(list), "a"); // an inner call stops at once, destroys nothing
  };
  EXPECT_EQ(fire(list, destroy), "ab");
  EXPECT_EQ(ZutCbTypeGetCbList(type, &owner, &list), 0);
  EXPECT_EQ(ZutCbObjClear(type, &owner), 0);
  ZutCbTypeCbCreate(type, &owner, note, 'n');
  EXPECT_EQ(fireType(type, &owner), "n");
  EXPECT_EQ(ZutCbObjClear(type, &owner), 1);
  EXPECT_EQ(fireType(type, &owner), "");

  ZutCbList *global = ZutCbListCreate(type, nullptr); // stays, and calls one an event
  add(global, 'a'), add(global, 'b');
  fire(global, [&](ZutCb *, char) { ZutCbListDestroy(global); });
  EXPECT_EQ(fire(global), "a");
  EXPECT_EQ(ZutCbListDestroy(global), 1);
}

TEST(Callback, FlagsChooseAndMergeLists) {
  ZutCbType *type = newType();
  int owner = 0;
  const auto own = [&](char name, int16_t priority) {
    ZutCbSetPriority(ZutCbTypeCbCreate(type, &owner, note, name), priority);
  };
  own('a', 3), own('d', 1);
  EXPECT_EQ(fireType(type, &owner), "ad");
  ZutCbSetPriority(ZutCbCreateGlobal(type, note, 'b'), 3);
  ZutCbSetPriority(ZutCbTypeCbCreate(type, nullptr, note, 'c'), 2);
  EXPECT_EQ(fireType(type, &owner), "abcd");
  EXPECT_EQ(fireType(type, &type), "bc");
  const auto clear = [&](ZutCb *, char name) {
    if (name == 'b') ZutCbObjClear(type, &owner);
  };
  EXPECT_EQ(fireType(type, &owner, clear), "ab"); // the end of the owner's list ends the merge
  own('a', 5);
  EXPECT_EQ(fireType(type, &owner, clear), "abc"); // not once its own have been called
  own('a', 0);
  ZutCbTypeSetGlobFlag(type, Z_CB_GLOBAL_ONLY);
  EXPECT_EQ(fireType(type, &owner), "bc");
  ZutCbTypeSetGlobFlag(type, Z_CB_NO_GLOBALS);
  EXPECT_EQ(fireType(type, &owner), "a");
  EXPECT_ERROR(15, ZutCbCreateGlobal(type, note, 'x'));
  const Capture capture;
  ZutCbTypeSetGlobFlag(type, 77);
  EXPECT_EQ(fireType(type, &owner), "");
  EXPECT_EQ(ZutCbTypeSetLocalFlag(type, 2), 0);
  EXPECT_EQ(ZutCbTypeSetLocalFlag(type, Z_CB_DIRECT), 1);
  ZutCbList *list;
  EXPECT_ERROR(15, ZutCbTypeGetCbList(type, &owner, &list));
  EXPECT_ERROR(15, ZutCbTypeCbLookup(type, &owner, note, 'a'));
  EXPECT_EQ(ZutCbTypeCbListCreate(type, &owner), nullptr);
  for (const char *number : {"5006", "5007", "5008"})
    EXPECT_NE(capture.text().find(number), std::string::npos) << number;
}

TEST(Callback, TypesByNumberAndName) {
  const int32_t number = ++nextNumber;
  ZutCbType *type = ZutCbTypeCreate(number, "Sunrise");
  EXPECT_EQ(ZutCbTypeCreate(number, "other"), nullptr);
  EXPECT_EQ(ZutCbTypeLookup("sunRISE"), type);
  EXPECT_ERROR(18, ZutCbTypeLookup("sunset"));
  EXPECT_EQ(ZutCbTypeNumLookup(number), type);
  EXPECT_ERROR(8, ZutCbTypeNumLookup(-12345));
  Event event;
  int owner = 0;
  ZutCbTypeCbCreate(type, &owner, note, 'a');
  EXPECT_EQ(ZutCbTypeNumCbCall(number, &owner, &event), 1);
  EXPECT_EQ(ZutCbTypeNumCbCall(-12345, &owner, &event), 1);
  EXPECT_EQ(event.log, "a");
  EXPECT_EQ(ZutCbTypeNumCbDestroy(number, &owner, note, 'a'), 1);
  EXPECT_EQ(ZutCbTypeNumObjClear(number, &owner), 1);
  const Capture capture;
  ZutLobeDeclare(++nextNumber, 3);
  ZutCbType *lobeless = ZutCbTypeCreate(nextNumber, nullptr);
  EXPECT_NE(capture.text().find("5005"), std::string::npos);
  EXPECT_EQ(ZutCbTypeCbCreate(lobeless, &owner, note, 'a'), nullptr);
  EXPECT_EQ(ZutCbTypeCall(lobeless, &owner, &event), 1);

  EXPECT_ERROR(8, ZutQuitCbLookup(note, 'q'));
  ZutErrNumSet(28);
  ZutCb *quit = ZutQuitCbCreate(note, 'q');
  EXPECT_EQ(ZutErrNumGet(), 28); // success leaves the number alone
  EXPECT_EQ(ZutQuitCbLookup(note, 'q'), quit);
  int32_t flag = -1;
  EXPECT_TRUE(ZutCbTypeGetGlobFlag(ZutCbTypeLookup("quit"), &flag) && flag == Z_CB_GLOBAL_ONLY);
  ZutCbTypeNumCbCall(Z_CB_TYPE_QUIT, nullptr, &event);
  EXPECT_EQ(event.log, "aq");
}

TEST(Callback, ChangeFunctionsSeeEveryChange) {
  ZutCbList *list = ZutCbListCreate(newType(), nullptr);
  ZutCb *a = add(list, 'a'), *b = add(list, 'b');
  std::string kinds;
  const auto notice = [](ZutCb *cb, ZutCbChangeData *data, ZutWord text) {
    ZutWord now;
    EXPECT_EQ(ZutCbGetArgument(data->cb, &now), 1); // after the change
    EXPECT_EQ(data->cb, cb);
    *reinterpret_cast<std::string *>(text) += std::to_string(data->kind) + static_cast<char>(now);
  };
  for (ZutCb *cb : {a, b}) ZutCbSetChangeFunction(cb, notice, reinterpret_cast<ZutWord>(&kinds));
  EXPECT_EQ(ZutCbSetArgument(a, 'b') + ZutCbSetArgument(a, 'a'), 0); // b's pair, and its own
  EXPECT_EQ(ZutCbSetArgument(a, 'c') + ZutCbSetFunction(a, count), 2);
  EXPECT_EQ(ZutCbSetPriority(a, 0) + ZutCbSetPriority(a, -3), 2);
  ZutCbFunc function;
  int16_t priority;
  EXPECT_TRUE(ZutCbGetFunction(a, &function) && function == count);
  EXPECT_TRUE(ZutCbGetPriority(a, &priority) && priority == -3);
  ZutCbDestroy(a);
  EXPECT_EQ(kinds, "2c1c4c3c");
  ZutCbListDestroy(list);
  EXPECT_EQ(kinds, "2c1c4c3c3b");

  ZutCbType *type = newType(); // a change function that destroys the list it stands in
  int owner = 0;
  ZutCb *c = ZutCbTypeCbCreate(type, &owner, note, 'c');
  const auto clear = [](ZutCb *, ZutCbChangeData *data, ZutWord number) {
    ZutCbList *home = nullptr;
    void *who = nullptr;
    EXPECT_TRUE(ZutCbGetList(data->cb, &home) && ZutCbListGetOwner(home, &who));
    ZutCbTypeNumObjClear(static_cast<int32_t>(number), who);
  };
  ZutCbSetChangeFunction(c, clear, nextNumber);
  EXPECT_EQ(ZutCbSetArgument(c, 'd'), 1);
  EXPECT_EQ(fireType(type, &owner), "");
}

TEST(Callback, DumpsAndThresholdsThatSayZero) {
  Capture capture;
  ZutCbType *type = ZutCbTypeCreate(++nextNumber, "dumped");
  int owner = 0;
  ZutCb *cb = ZutCbTypeCbCreate(type, &owner, note, 'a');
  ZutCbList *list;
  uint16_t start, current;
  ZutCbGetList(cb, &list);
  ZutCbSetPriority(cb, -2);
  EXPECT_EQ(ZutCbListSetStartThresh(list, 40000) + ZutCbListGetStartThresh(list, &start), 0);
  EXPECT_EQ(ZutCbListSetCurrentThresh(list, 7) + ZutCbListGetCurrentThresh(list, &current), 0);
  EXPECT_EQ(start + current, 40007);
  const std::string warnings = capture.take();
  for (const char *code : {"5001", "5002", "5003", "5004"})
    EXPECT_NE(warnings.find(code), std::string::npos) << code;
  const auto at = [](const void *pointer) {
    std::ostringstream text;
    text << std::hex << reinterpret_cast<uintptr_t>(pointer);
    return text.str();
  };
  const std::string number = std::to_string(nextNumber);
  const std::string ends = "Owner: " + at(&owner) + ", Type";
  ZutCbPrintList(list, ZutOut);
  EXPECT_EQ(capture.take(), "Cb List Dump of " + at(list) + " " + ends + ": " + number +
                                "\nCurrent List has 1 entries:\nCb dump of " + at(cb) +
                                " Func: " + at(reinterpret_cast<void *>(note)) +
                                ", arg: 61\n\tList: " + at(list) + ", pri: -2 " + ends +
                                " Num: " + number + "\n\nStart thresh 40000, current thresh: 7 ");
  ZutCbPrintType(type, ZutOut);
  EXPECT_EQ(capture.take(), "Callback Type Dump at " + at(type) + ", Type Number: " + number +
                                "\nCallback type name: dumped\nGlobal flag: globals_ok indirect\n");
}

// --- With threads ---

// A callback that destroys itself; several threads may be inside it.
static std::atomic<int> destroyed{0};
static void Z_CALL once(void *, void *data, ZutWord number) {
  ZutCb *cb = static_cast<ZutCbCallData *>(data)->cb;
  ZutCbSetPriority(cb, static_cast<int16_t>(number % 2));
  if (ZutCbDestroy(cb)) ++destroyed;
  else EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutCbDestroy(cb) + ZutCbSetPriority(cb, 7) + ZutCbSetFunction(cb, count), 0);
}

// A callback that changes one of the two lists that are being merged.
static void Z_CALL meddle(void *object, void *data, ZutWord) {
  static thread_local char mine;
  ZutCbType *of;
  ZutCbGetCbType(static_cast<ZutCbCallData *>(data)->cb, &of);
  void *whose = ++mine % 2 ? object : nullptr;
  ZutCb *added = ZutCbTypeCbCreate(of, whose, note, reinterpret_cast<ZutWord>(&mine));
  EXPECT_EQ(ZutCbDestroy(added), 1);
}

TEST_F(CallbackThreads, FireAddDestroyAndClear) {
  ZutCbType *plain = newType(Z_CB_GLOBAL_ONLY), *merged = newType();
  int owner = 0;
  std::atomic<int> calls{0}, ticks[4] = {}, ends{0};
  ZutCbCreateGlobal(plain, count, reinterpret_cast<ZutWord>(&calls));
  ZutCbCreateGlobal(merged, note, 'g');
  const auto work = [&](int self) {
    ZutCbList *own = ZutCbListCreate(plain, nullptr), *shared = nullptr;
    ZutCbTypeGetCbList(plain, nullptr, &shared);
    for (int i = 0; i < 400; ++i) {
      Event event;
      ZutCb *mine = ZutCbCreateGlobal(plain, count, reinterpret_cast<ZutWord>(&ticks[self]));
      ZutCbSetPriority(mine, static_cast<int16_t>(i % 7));
      ZutCb *shot = ZutCbListCbCreate(own, once, 4 * i + self);
      countEnd(shot, ends);
      ZutCbListRemoveCb(own, shot), ZutCbListInsertCb(shared, shot);
      ZutCbTypeCall(plain, nullptr, &event);
      ZutCbDestroy(mine);
      if (i % 4 == self) ZutCbTypeCbCreate(merged, &owner, meddle, self);
      ZutCbTypeCall(merged, &owner, &event);
      if (i % 50 == 0) ZutCbObjClear(merged, &owner);
    }
    ZutCbListDestroy(own);
  };
  std::thread threads[4];
  for (int i = 0; i < 4; ++i) threads[i] = std::thread(work, i);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(calls, 4 * 400);
  for (std::atomic<int> &tick : ticks) EXPECT_GE(tick, 400);
  EXPECT_TRUE(destroyed == 4 * 400 && ends == 4 * 400) << destroyed << ' ' << ends;
  for (ZutCbType *type : {plain, merged}) {
    ZutCbList *list;
    ZutCbTypeGetCbList(type, nullptr, &list);
    EXPECT_EQ(ZutCbListIsActive(list), 0);
  }
}

// One thread is inside a callback and waits there to change another list, which a third one calls.
TEST_F(CallbackThreads, ACallbackIsLeftBeforeItIsDestroyed) {
  for (const bool removedBefore : {false, true}) {
    ZutCbList *first = ZutCbListCreate(newType(), nullptr);
    ZutCbList *second = ZutCbListCreate(newType(), nullptr);
    std::atomic<int> step{0}, ends{0}, early{0};
    ZutCb *cb = add(first, 'c');
    add(second, 'h');
    countEnd(cb, ends);
    std::thread holding([&] {
      fire(second, [&](ZutCb *, char name) { // long enough for a notice that comes too early
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
        for (step += name == 'h'; !ends && std::chrono::steady_clock::now() < end;)
          std::this_thread::yield();
      });
    });
    while (step < 1) std::this_thread::yield();
    std::thread waiting([&] {
      fire(first, [&](ZutCb *, char) { ++step, add(second, 'z'), early = ends.load(); });
    });
    while (step < 2) std::this_thread::yield();
    EXPECT_EQ(removedBefore && ZutCbListRemoveCb(first, cb), removedBefore);
    EXPECT_EQ(ZutCbDestroy(cb), 1);
    EXPECT_EQ(ends, 1);
    holding.join(), waiting.join();
    EXPECT_EQ(early, 0);
    EXPECT_EQ(ZutCbListDestroy(first) + ZutCbListDestroy(second), 2);
  }
}

// Each of three threads destroys the callback that the next one is inside.
TEST_F(CallbackThreads, DestroyersDoNotWaitInARing) {
  ZutCbList *lists[3];
  ZutCb *cbs[3];
  std::thread threads[3];
  std::atomic<int> inside{0}, refused{0}, ends{0};
  for (int i = 0; i < 3; ++i) {
    cbs[i] = add(lists[i] = ZutCbListCreate(newType(), nullptr), 'c');
    countEnd(cbs[i], ends);
  }
  const auto meet = [&](ZutCb *cb, char) {
    for (++inside; inside < 3;) std::this_thread::yield();
    if (!ZutCbDestroy(cbs[(std::find(cbs, cbs + 3, cb) - cbs + 1) % 3])) refused += ZutErrNumGet();
  };
  for (int i = 0; i < 3; ++i) threads[i] = std::thread([&, i] { fire(lists[i], meet); });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(refused, 32);
  EXPECT_EQ(ends, 3);
  for (ZutCbList *list : lists) EXPECT_EQ(ZutCbListDestroy(list), 1);
}

// One thread sets the function while another sets the argument.
TEST_F(CallbackThreads, ChangesOfOneCallbackDoNotUndoEachOther) {
  ZutCb *cb = ZutCbCreateGlobal(newType(), note, 0);
  std::thread other([&] {
    for (int i = 1; i <= 3000; ++i) ZutCbSetArgument(cb, i);
  });
  int undone = 0;
  ZutWord argument = 0;
  for (int i = 0; i < 3000 || argument < 3000; ++i) {
    ZutCbFunc function = nullptr;
    ZutCbSetFunction(cb, i % 2 ? note : count);
    undone += ZutCbGetFunction(cb, &function) != 1 || function != (i % 2 ? note : count);
    ZutCbGetArgument(cb, &argument);
  }
  other.join();
  EXPECT_EQ(undone, 0);
}

// Four threads make 8191 calls of one list, which is as many as there may be.
TEST_F(CallbackThreads, TooManyNestedCallsAreRefused) {
  static thread_local int depth;
  static std::atomic<int> down{0}; // threads at the bottom
  const auto dive = [](void *, void *data, ZutWord number) {
    if (--depth) {
      EXPECT_EQ(ZutCbTypeNumCbCall(static_cast<int32_t>(number), nullptr, data), 1);
      return;
    }
    for (++down; down < 5;) std::this_thread::yield();
  };
  ZutCbType *type = newType();
  ZutCb *cb = ZutCbCreateGlobal(type, dive, nextNumber);
  const auto begin = [=](int times) {
    Event event;
    depth = times;
    return ZutCbTypeCall(type, nullptr, &event);
  };
  std::thread threads[4];
  for (std::thread &thread : threads) thread = std::thread(begin, &thread == threads ? 2047 : 2048);
  while (down < 4) std::this_thread::yield();
  EXPECT_ERROR(5, begin(1));
  down = 5;
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(begin(1), 1);
  EXPECT_EQ(ZutCbDestroy(cb), 1);
}
