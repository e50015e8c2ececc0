#include "support/child.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

namespace {

int32_t nextNumber = 5000;

ZutCbType *newType(int32_t globalFlag = Z_CB_GLOBALS_OK) {
  ZutCbType *type = ZutCbTypeCreate(++nextNumber, nullptr);
  ZutCbTypeSetGlobFlag(type, globalFlag);
  return type;
}

// An event that writes down who was called, and may do something on the way.
struct Event {
  ZutCbCallData data = {};
  std::string log;
  std::function<void(ZutCb *, char)> then;
};

void Z_CALL note(void *, void *data, ZutWord argument) {
  auto &event = *static_cast<Event *>(data);
  event.log += static_cast<char>(argument);
  if (event.then) event.then(event.data.cb, static_cast<char>(argument));
}

void Z_CALL count(void *, void *, ZutWord argument) {
  ++*reinterpret_cast<std::atomic<int> *>(argument);
}

void tellOf(ZutCb *cb, std::atomic<int> &told) {
  const auto tell = [](ZutCb *, ZutCbChangeData *data, ZutWord argument) {
    if (data->kind == Z_CB_CHANGE_DESTROY) count(nullptr, nullptr, argument);
  };
  ZutCbSetChangeFunction(cb, tell, reinterpret_cast<ZutWord>(&told));
}

// Destroys itself; several threads at once may be called by it.
std::atomic<int> destroyed{0};
void Z_CALL once(void *, void *data, ZutWord number) {
  ZutCb *cb = static_cast<ZutCbCallData *>(data)->cb;
  ZutCbSetPriority(cb, static_cast<int16_t>(number % 2));
  if (ZutCbDestroy(cb)) ++destroyed;
  else EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutCbDestroy(cb) + ZutCbSetPriority(cb, 7) + ZutCbSetFunction(cb, count), 0);
}

ZutCb *add(ZutCbList *list, char name, int16_t priority = 0) {
  ZutCb *cb = ZutCbListCbCreate(list, note, name);
  ZutCbSetPriority(cb, priority);
  return cb;
}

std::string fire(ZutCbList *list, std::function<void(ZutCb *, char)> then = {}) {
  Event event;
  event.then = std::move(then);
  EXPECT_EQ(ZutCbListCall(list, nullptr, &event), 1);
  return event.log;
}

std::string fireType(ZutCbType *type, void *owner) {
  Event event;
  EXPECT_EQ(ZutCbTypeCall(type, owner, &event), 1);
  return event.log;
}

ZutCb *find(ZutCbList *list, char name) { return ZutCbListCbLookup(list, note, name); }

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
  EXPECT_EQ(ZutCbListRemoveCb(list, c), 0);
  ZutCbSetPriority(c, -1);
  EXPECT_EQ(ZutCbListInsertCb(list, c), 1);
  EXPECT_EQ(ZutCbListInsertCb(list, c), 0);
  EXPECT_EQ(ZutErrNumGet(), 32);
  EXPECT_EQ(fire(list), "eabdcf");
  EXPECT_EQ(ZutCbListCbCreate(list, note, 'c'), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 6);
  EXPECT_EQ(find(list, 'x'), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 8);
  EXPECT_EQ(ZutCbListDestroy(list), 1);
}

TEST(Callback, CallsBearEveryChangeOfTheirList) {
  // a to e with priorities 4 to 0; the change is made while b is called
  const struct {
    const char *what;
    std::function<void(ZutCbList *, ZutCb *)> change;
    const char *called;
  } cases[] = {
      {"destroy itself", [](ZutCbList *, ZutCb *self) { ZutCbDestroy(self); }, "abcde"},
      {"destroy the next", [](ZutCbList *l, ZutCb *) { ZutCbDestroy(find(l, 'c')); }, "abde"},
      {"destroy everything else",
       [](ZutCbList *l, ZutCb *) {
         for (char name : {'a', 'c', 'd', 'e'}) ZutCbDestroy(find(l, name));
       },
       "ab"},
      {"add at the end", [](ZutCbList *l, ZutCb *) { add(l, 'z', -1); }, "abcdez"},
      {"add before the next", [](ZutCbList *l, ZutCb *) { add(l, 'z', 3); }, "abcde"},
      {"the next to the front", [](ZutCbList *l, ZutCb *) { ZutCbSetPriority(find(l, 'c'), 9); },
       "abde"},
      {"itself to the end", [](ZutCbList *, ZutCb *self) { ZutCbSetPriority(self, -1); }, "abcdeb"},
      {"call the list", [](ZutCbList *l, ZutCb *) { EXPECT_EQ(fire(l), "abcde"); }, "abcde"},
      {"destroy it in an inner call",
       [](ZutCbList *l, ZutCb *) {
         fire(l, [](ZutCb *cb, char name) {
           if (name == 'c') ZutCbDestroy(cb);
         });
       },
       "abde"},
  };
  for (const auto &c : cases) {
    ZutCbList *list = ZutCbListCreate(newType(), nullptr);
    for (char name = 'a'; name <= 'e'; ++name) add(list, name, static_cast<int16_t>('e' - name));
    bool done = false;
    EXPECT_EQ(fire(list,
                   [&](ZutCb *self, char name) {
                     if (name == 'b' && !std::exchange(done, true)) c.change(list, self);
                   }),
              c.called)
        << c.what;
    EXPECT_EQ(ZutCbListDestroy(list), 1);
  }
}

TEST(Callback, ADoomedListGoesWithItsLastCall) {
  ZutCbType *type = newType(Z_CB_NO_GLOBALS);
  int owner = 0;
  for (char name : {'a', 'b', 'c'}) ZutCbTypeCbCreate(type, &owner, note, name);
  ZutCbList *list = nullptr;
  EXPECT_EQ(ZutCbTypeGetCbList(type, &owner, &list), 1);
  EXPECT_EQ(ZutCbListIsActive(list), 0);
  EXPECT_EQ(fire(list,
                 [&](ZutCb *, char name) {
                   EXPECT_EQ(ZutCbListIsActive(list), 1);
                   if (name != 'b') return;
                   EXPECT_EQ(ZutCbListDestroy(list), 0);
                   EXPECT_EQ(ZutErrNumGet(), 32);
                   EXPECT_EQ(fire(list), "a"); // an inner call stops at once, destroys nothing
                 }),
            "ab");
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
  ZutCbSetPriority(ZutCbTypeCbCreate(type, &owner, note, 'a'), 3);
  ZutCbSetPriority(ZutCbTypeCbCreate(type, &owner, note, 'd'), 1);
  EXPECT_EQ(fireType(type, &owner), "ad");
  ZutCb *b = ZutCbCreateGlobal(type, note, 'b');
  ZutCbSetPriority(b, 3);
  ZutCbSetPriority(ZutCbTypeCbCreate(type, nullptr, note, 'c'), 2);
  EXPECT_EQ(fireType(type, &owner), "abcd");
  EXPECT_EQ(fireType(type, &type), "bc");
  Event event; // dooming the owner's list ends a merge, once its own were through it goes on
  event.then = [&](ZutCb *, char name) {
    if (name == 'b') ZutCbObjClear(type, &owner);
  };
  ZutCbTypeCall(type, &owner, &event);
  EXPECT_EQ(event.log, "ab");
  ZutCbSetPriority(ZutCbTypeCbCreate(type, &owner, note, 'a'), 5);
  event.log = "";
  ZutCbTypeCall(type, &owner, &event);
  EXPECT_EQ(event.log, "abc");
  ZutCbTypeCbCreate(type, &owner, note, 'a');
  ZutCbTypeSetGlobFlag(type, Z_CB_GLOBAL_ONLY);
  EXPECT_EQ(fireType(type, &owner), "bc");
  ZutCbTypeSetGlobFlag(type, Z_CB_NO_GLOBALS);
  EXPECT_EQ(fireType(type, &owner), "a");
  EXPECT_EQ(ZutCbCreateGlobal(type, note, 'x'), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 15);
  Capture capture;
  ZutCbTypeSetGlobFlag(type, 77);
  EXPECT_EQ(fireType(type, &owner), "");
  EXPECT_NE(capture.text().find("5008"), std::string::npos);
  EXPECT_EQ(ZutCbTypeSetLocalFlag(type, 2), 0);
  EXPECT_EQ(ZutCbTypeSetLocalFlag(type, Z_CB_DIRECT), 1);
  ZutCbList *list;
  EXPECT_EQ(ZutCbTypeGetCbList(type, &owner, &list), 0);
  EXPECT_EQ(ZutCbTypeCbLookup(type, &owner, note, 'a'), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 15);
  EXPECT_EQ(ZutCbTypeCbListCreate(type, &owner), nullptr);
  EXPECT_NE(capture.text().find("5006"), std::string::npos);
  EXPECT_NE(capture.text().find("5007"), std::string::npos);
}

TEST(Callback, TypesByNumberAndName) {
  const int32_t number = ++nextNumber;
  ZutCbType *type = ZutCbTypeCreate(number, "Sunrise");
  EXPECT_EQ(ZutCbTypeCreate(number, "other"), nullptr);
  EXPECT_EQ(ZutCbTypeLookup("sunRISE"), type);
  EXPECT_EQ(ZutCbTypeLookup("sunset"), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 18);
  EXPECT_EQ(ZutCbTypeNumLookup(number), type);
  EXPECT_EQ(ZutCbTypeNumLookup(-12345), nullptr);
  EXPECT_EQ(ZutErrNumGet(), 8);
  Event event;
  int owner = 0;
  ZutCbTypeCbCreate(type, &owner, note, 'a');
  EXPECT_EQ(ZutCbTypeNumCbCall(number, &owner, &event), 1);
  EXPECT_EQ(ZutCbTypeNumCbCall(-12345, &owner, &event), 1);
  EXPECT_EQ(event.log, "a");
  EXPECT_EQ(ZutCbTypeNumCbDestroy(number, &owner, note, 'a'), 1);
  EXPECT_EQ(ZutCbTypeNumObjClear(number, &owner), 1);
  Capture capture;
  ZutLobeDeclare(++nextNumber, 3);
  ZutCbType *lobeless = ZutCbTypeCreate(nextNumber, nullptr);
  EXPECT_NE(capture.text().find("5005"), std::string::npos);
  EXPECT_EQ(ZutCbTypeCbCreate(lobeless, &owner, note, 'a'), nullptr);
  EXPECT_EQ(ZutCbTypeCall(lobeless, &owner, &event), 1);
}

TEST(Callback, ChangeFunctionsAreTold) {
  ZutCbList *list = ZutCbListCreate(newType(), nullptr);
  ZutCb *a = add(list, 'a');
  add(list, 'b');
  std::string kinds;
  const auto tell = [](ZutCb *cb, ZutCbChangeData *data, ZutWord text) {
    ZutWord now;
    EXPECT_EQ(ZutCbGetArgument(data->cb, &now), 1); // after the change
    EXPECT_EQ(data->cb, cb);
    *reinterpret_cast<std::string *>(text) +=
        std::to_string(data->kind) + static_cast<char>(now) + " ";
  };
  EXPECT_EQ(ZutCbSetChangeFunction(a, tell, reinterpret_cast<ZutWord>(&kinds)), 1);
  EXPECT_EQ(ZutCbSetArgument(a, 'b'), 0); // b's pair
  EXPECT_EQ(ZutCbSetArgument(a, 'a'), 0); // its own
  EXPECT_EQ(ZutCbSetArgument(a, 'c'), 1);
  EXPECT_EQ(ZutCbSetFunction(a, count), 1);
  EXPECT_EQ(ZutCbSetPriority(a, 0), 1);
  EXPECT_EQ(ZutCbSetPriority(a, -3), 1);
  ZutCbFunc function;
  int16_t priority;
  EXPECT_TRUE(ZutCbGetFunction(a, &function) && function == count);
  EXPECT_TRUE(ZutCbGetPriority(a, &priority) && priority == -3);
  ZutCbDestroy(a);
  EXPECT_EQ(kinds, "2c 1c 4c 3c ");
  ZutCb *b = find(list, 'b');
  ZutCbSetChangeFunction(b, tell, reinterpret_cast<ZutWord>(&kinds));
  ZutCbListDestroy(list);
  EXPECT_EQ(kinds, "2c 1c 4c 3c 3b ");

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

TEST(Callback, TraversalStopsAndEndsWithoutErrorNumber) {
  ZutCbList *list = ZutCbListCreate(newType(), nullptr);
  add(list, 'a');
  ZutCb *b = add(list, 'b');
  const auto stop = [](ZutCbList *, ZutCb *cb, ZutWord at) {
    return reinterpret_cast<ZutWord>(cb) == at ? 7 : 0;
  };
  ZutErrNumSet(0);
  EXPECT_EQ(ZutCbListTraverse(list, stop, reinterpret_cast<ZutWord>(b)), 7);
  EXPECT_EQ(ZutCbListTraverse(list, stop, 0) + ZutErrNumGet(), 0);
  ZutCbListDestroy(list);
}

TEST(Callback, ThresholdsAreStoredAndSayZero) {
  Capture capture;
  ZutCbList *list = ZutCbListCreate(newType(), nullptr);
  uint16_t start = 0, current = 0;
  EXPECT_EQ(ZutCbListSetStartThresh(list, 40000) + ZutCbListGetStartThresh(list, &start), 0);
  EXPECT_EQ(ZutCbListSetCurrentThresh(list, 7) + ZutCbListGetCurrentThresh(list, &current), 0);
  EXPECT_EQ(start + current, 40007);
  for (const char *number : {"5001", "5002", "5003", "5004"})
    EXPECT_NE(capture.text().find(number), std::string::npos);
  ZutCbListDestroy(list);
}

TEST(Callback, Dumps) {
  Capture capture;
  ZutCbType *type = ZutCbTypeCreate(++nextNumber, "dumped");
  int owner = 0;
  ZutCb *cb = ZutCbTypeCbCreate(type, &owner, note, 'a');
  ZutCbList *list;
  ZutCbGetList(cb, &list);
  ZutCbSetPriority(cb, -2);
  char expected[512];
  const auto number = [](const void *p) {
    return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(p));
  };
  std::snprintf(expected, sizeof expected,
                "Cb List Dump of %lx Owner: %lx, Type: %d\nCurrent List has 1 entries:\n"
                "Cb dump of %lx Func: %lx, arg: 61\n\tList: %lx, pri: -2 Owner: %lx, "
                "Type Num: %d\n\nStart thresh 0, current thresh: 0 ",
                number(list), number(&owner), nextNumber, number(cb),
                number(reinterpret_cast<void *>(note)), number(list), number(&owner), nextNumber);
  ZutCbPrintList(list, ZutOut);
  EXPECT_EQ(capture.take(), expected);
  std::snprintf(expected, sizeof expected,
                "Callback Type Dump at %lx, Type Number: %d\nCallback type name: dumped\n"
                "Global flag: globals_ok indirect\n",
                number(type), nextNumber);
  ZutCbPrintType(type, ZutOut);
  EXPECT_EQ(capture.take(), expected);
  ZutCbObjClear(type, &owner);
}

CHILD(quit) {
  newType();
  const bool none = !ZutQuitCbLookup(note, 'q');
  ZutOut("%d%d ", none, static_cast<int>(ZutErrNumGet()));
  ZutErrNumSet(28);
  ZutCb *cb = ZutQuitCbCreate(note, 'q');
  ZutOut("%d ", static_cast<int>(ZutErrNumGet()));
  int32_t flag = -1;
  ZutCbTypeGetGlobFlag(ZutCbTypeLookup("quit"), &flag);
  Event event;
  ZutCbTypeNumCbCall(Z_CB_TYPE_QUIT, nullptr, &event);
  ZutOut("%d %d %s\n", ZutQuitCbLookup(note, 'q') == cb, static_cast<int>(flag), event.log.c_str());
}

TEST(Callback, QuitCallbacks) { EXPECT_EQ(runChild("quit").out, "18 28 1 0 q\n"); }

// --- From here on with threads ---

TEST(CallbackThreads, FireAddDestroyAndClear) {
  ZutInitThreads();
  ZutCbType *plain = newType(Z_CB_GLOBAL_ONLY);
  ZutCbType *merged = newType();
  int owner = 0;
  std::atomic<int> calls{0};
  std::atomic<int> ticks[4] = {}, told{0};
  destroyed = 0;
  ZutCbCreateGlobal(plain, count, reinterpret_cast<ZutWord>(&calls));
  ZutCbCreateGlobal(merged, note, 'g');
  const auto meddle = [](void *object, void *data, ZutWord) { // changes the list that calls it
    static thread_local char mine;
    ZutCbType *of;
    ZutCbGetCbType(static_cast<ZutCbCallData *>(data)->cb, &of);
    void *whose = ++mine % 2 ? object : nullptr; // of the two that are merged
    ZutCb *added = ZutCbTypeCbCreate(of, whose, note, reinterpret_cast<ZutWord>(&mine));
    EXPECT_EQ(ZutCbDestroy(added), 1);
  };
  const auto work = [&](int self) {
    const auto tick = reinterpret_cast<ZutWord>(&ticks[self]);
    ZutCbList *own = ZutCbListCreate(plain, nullptr), *shared = nullptr;
    ZutCbTypeGetCbList(plain, nullptr, &shared);
    for (int i = 0; i < 400; ++i) {
      Event event;
      ZutCb *mine = ZutCbCreateGlobal(plain, count, tick);
      ZutCbSetPriority(mine, static_cast<int16_t>(i % 7));
      ZutCb *shot = ZutCbListCbCreate(own, once, 4 * i + self);
      tellOf(shot, told);
      ZutCbListRemoveCb(own, shot), ZutCbListInsertCb(shared, shot);
      ZutCbTypeCall(plain, nullptr, &event);
      ZutCbDestroy(mine);
      if (i % 4 == self) ZutCbTypeCbCreate(merged, &owner, meddle, self);
      ZutCbTypeCall(merged, &owner, &event);
      if (i % 50 == 0) ZutCbObjClear(merged, &owner);
    }
    ZutCbListDestroy(own);
  };
  std::thread threads[3];
  for (int i = 0; i < 3; ++i) threads[i] = std::thread(work, i);
  work(3);
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(calls, 4 * 400);
  for (std::atomic<int> &tick : ticks) EXPECT_GE(tick, 400);
  EXPECT_TRUE(destroyed == 4 * 400 && told == 4 * 400) << destroyed << ' ' << told;
  for (ZutCbType *type : {plain, merged}) {
    ZutCbList *list;
    ZutCbTypeGetCbList(type, nullptr, &list);
    EXPECT_EQ(ZutCbListIsActive(list), 0);
  }
  ZutCbObjClear(merged, &owner);
}

// One thread is inside a callback and waits there to change another list, which a third one calls.
TEST(CallbackThreads, ACallbackIsLeftBeforeItIsDestroyed) {
  ZutInitThreads();
  for (const bool removedBefore : {false, true}) {
    ZutCbList *first = ZutCbListCreate(newType(), nullptr);
    ZutCbList *second = ZutCbListCreate(newType(), nullptr);
    std::atomic<int> step{0}, told{0}, early{0};
    ZutCb *cb = add(first, 'c');
    add(second, 'h');
    tellOf(cb, told);
    std::thread holding([&] {
      fire(second, [&](ZutCb *, char name) { // until what must not happen had its time
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
        for (step += name == 'h'; !told && std::chrono::steady_clock::now() < end;)
          std::this_thread::yield();
      });
    });
    while (step < 1) std::this_thread::yield();
    std::thread waiting([&] {
      fire(first, [&](ZutCb *, char) { ++step, add(second, 'z'), early = told.load(); });
    });
    while (step < 2) std::this_thread::yield();
    EXPECT_EQ(removedBefore && ZutCbListRemoveCb(first, cb), removedBefore);
    EXPECT_EQ(ZutCbDestroy(cb), 1);
    EXPECT_EQ(told, 1);
    holding.join(), waiting.join();
    EXPECT_EQ(early, 0);
    EXPECT_EQ(ZutCbListDestroy(first) + ZutCbListDestroy(second), 2);
  }
}

// Each of three threads destroys the callback that the next one is inside.
TEST(CallbackThreads, DestroyersDoNotWaitInARing) {
  ZutInitThreads();
  ZutCbList *lists[3];
  ZutCb *cbs[3];
  std::thread threads[3];
  std::atomic<int> inside{0}, refused{0}, told{0};
  for (int i = 0; i < 3; ++i) {
    cbs[i] = add(lists[i] = ZutCbListCreate(newType(), nullptr), 'c');
    tellOf(cbs[i], told);
  }
  const auto meet = [&](ZutCb *cb, char) {
    for (++inside; inside < 3;) std::this_thread::yield();
    if (!ZutCbDestroy(cbs[(std::find(cbs, cbs + 3, cb) - cbs + 1) % 3])) refused += ZutErrNumGet();
  };
  for (int i = 0; i < 3; ++i) threads[i] = std::thread([&, i] { fire(lists[i], meet); });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(refused, 32);
  EXPECT_EQ(told, 3);
  for (ZutCbList *list : lists) EXPECT_EQ(ZutCbListDestroy(list), 1);
}

// One thread sets the function while another sets the argument.
TEST(CallbackThreads, ChangesOfOneCallbackDoNotUndoEachOther) {
  ZutInitThreads();
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
  ZutCbDestroy(cb);
}

// Four threads make 8191 calls of one list, which is as many as there may be.
TEST(CallbackThreads, TooManyNestedCallsAreRefused) {
  ZutInitThreads();
  static thread_local int depth;
  static std::atomic<int> down; // threads that are
  down = 0;
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
  EXPECT_EQ(begin(1), 0);
  EXPECT_EQ(ZutErrNumGet(), 5);
  down = 5;
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(begin(1), 1);
  EXPECT_EQ(ZutCbDestroy(cb), 1);
}
