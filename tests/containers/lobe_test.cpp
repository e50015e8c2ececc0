#include "support/child.h"
#include "support/errors.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

static ZutWord word(const void *pointer) { return reinterpret_cast<ZutWord>(pointer); }

CHILD(fresh) {
  const bool none = !ZutLobeLookup(1) && !ZutLobeTable();
  ZutOut("%d %d\n", none, static_cast<int>(ZutErrNumGet()));
}

TEST(Lobe, NothingBeforeTheFirst) { EXPECT_EQ(runChild("fresh").out, "1 0\n"); }

TEST(Lobe, DeclaringAgainGivesTheSameLobe) {
  ZutLobe *lobe = ZutLobeDeclare(1001, 4);
  EXPECT_EQ(ZutLobeLookup(1001), lobe);
  EXPECT_EQ(ZutHashLookup(ZutLobeTable(), 1001), word(lobe));
  Capture capture;
  EXPECT_EQ(ZutLobeDeclare(1001, 4), lobe);
  EXPECT_EQ(capture.text(), "");
  EXPECT_EQ(ZutLobeDeclare(1001, 8), lobe);
  EXPECT_NE(capture.text().find("5410"), std::string::npos);
  EXPECT_EQ(ZutLobeGetSize(lobe), 4);
  EXPECT_ERROR(4, ZutLobeDeclare(1002, -2));
  EXPECT_ERROR(8, ZutLobeLookup(1002));
}

TEST(Lobe, ValuesArePrivateCopiesOfTheirSize) {
  int a = 0, b = 0;
  for (int32_t size : {1, 4, 7, 24}) {
    ZutLobe *lobe = ZutLobeDeclare(1100 + size, size);
    char value[25] = "abcdefghijklmnopqrstuvwx";
    char out[26];
    std::memset(out, '?', sizeof out);
    EXPECT_EQ(ZutLobeSet(&a, lobe, value), 1);
    void *block = ZutLobeFindValue(&a, lobe);
    value[0] = 'z';
    EXPECT_EQ(ZutLobeSet(&a, lobe, value), 1);
    EXPECT_EQ(ZutLobeFindValue(&a, lobe), block); // same place
    EXPECT_ERROR(0, ZutLobeCheckSet(&a, lobe, "other"));
    EXPECT_EQ(ZutLobeGet(&a, lobe, out), 1);
    EXPECT_EQ(std::memcmp(out, value, size), 0);
    EXPECT_EQ(out[size], '?');
    EXPECT_ERROR(8, ZutLobeGet(&b, lobe, out));
    EXPECT_ERROR(0, ZutLobeDelete(&a, lobe));
    EXPECT_ERROR(8, ZutLobeDelete(&a, lobe));
    EXPECT_ERROR(8, ZutLobeFindValue(&a, lobe));
  }
}

TEST(Lobe, TextsClearAndTraverse) {
  ZutLobe *texts = ZutLobeStringDeclare(1201);
  ZutLobe *numbers = ZutLobeDeclare(1202, sizeof(int));
  int a = 1, b = 2;
  char out[32];
  EXPECT_EQ(ZutLobeCheckSet(&a, texts, "short"), 1);
  EXPECT_EQ(ZutLobeSet(&a, texts, "quite a bit longer"), 1);
  EXPECT_EQ(ZutLobeSet(&a, texts, static_cast<char *>(ZutLobeFindValue(&a, texts)) + 6), 1);
  EXPECT_EQ(ZutLobeGet(&a, texts, out), 1);
  EXPECT_STREQ(out, "a bit longer");
  ZutLobeSet(&b, texts, "b");
  ZutLobeSet(&a, numbers, &a);
  ZutErrNumSet(28);
  ZutLobeClear(&a);
  EXPECT_EQ(ZutErrNumGet(), 28); // no failure, though other lobes have no value of `a`
  for (ZutLobe *lobe : {texts, numbers}) EXPECT_ERROR(8, ZutLobeGet(&a, lobe, out));
  const auto visit = [](ZutWord object, void *value, ZutWord argument) {
    EXPECT_STREQ(static_cast<char *>(value), "b");
    return static_cast<int32_t>(object == argument);
  };
  EXPECT_EQ(ZutLobeTraverse(texts, visit, word(&b)), 1);
  EXPECT_ERROR(18, ZutLobeTraverse(texts, visit, 0));
  ZutLobeClear(nullptr);
  EXPECT_EQ(ZutLobeGet(&b, texts, out), 1);
  ZutLobeClear(&b);
}

// Other threads that clear and create take the lobe's mutex, but not after the process mutex, which
// output takes.
TEST(Lobe, TraversalsMayPrint) {
  ZutInitThreads();
  ZutCbType *type = ZutCbTypeCreate(1401, nullptr);
  int owners[2] = {};
  const auto ignore = [](void *, void *, ZutWord) {};
  ZutCbTypeCbCreate(type, &owners[0], ignore, 0);
  for (const bool clears : {true, false}) {
    std::thread other;
    const std::function<void()> visit = [&] {
      std::atomic<bool> begun{false};
      other = std::thread([&] {
        begun = true;
        clears ? ZutLobeClear(owners + 1) : void(ZutCbTypeCbCreate(type, owners + 1, ignore, 0));
      });
      while (!begun) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(10)); // for what must not happen
      ZutProcessMutexLock(), ZutProcessMutexUnlock();
    };
    const auto call = [](ZutWord, void *, ZutWord function) {
      (*reinterpret_cast<const std::function<void()> *>(function))();
      return 1;
    };
    EXPECT_EQ(ZutLobeTraverse(ZutLobeLookup(1401), call, word(&visit)), 1);
    other.join();
  }
  EXPECT_EQ(ZutCbObjClear(type, owners) + ZutCbObjClear(type, owners + 1), 2);
}
