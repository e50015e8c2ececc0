#include "support/child.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <random>

namespace {

template <class T>
ZutWord word(T *pointer) {
  return reinterpret_cast<ZutWord>(pointer);
}

int32_t Z_CALL collectKey(ZutWord key, ZutWord, ZutWord keys) {
  reinterpret_cast<std::vector<ZutWord> *>(keys)->push_back(key);
  return 0;
}

std::vector<ZutWord> keysOf(ZutHashTable *table) {
  std::vector<ZutWord> keys;
  EXPECT_EQ(ZutHashTraverse(table, collectKey, word(&keys)), 0);
  EXPECT_EQ(ZutErrNumGet(), 18);
  return keys;
}

// What the header promises of order, growth and the collision counter, in the plainest form.
struct Model {
  std::vector<std::vector<ZutWord>> chains{8};
  ZutHashFunc hash;
  int32_t collisions = 0;
  size_t count = 0;

  std::vector<ZutWord> &chain(ZutWord key) { return chains[hash(key) & (chains.size() - 1)]; }
  void push(ZutWord key) {
    collisions += !chain(key).empty();
    chain(key).insert(chain(key).begin(), key);
  }
  void insert(ZutWord key) {
    push(key);
    if (++count <= chains.size() / 4 * 3) return;
    std::vector<std::vector<ZutWord>> old(4 * chains.size());
    std::swap(old, chains);
    collisions = 0;
    for (const auto &from : old) {
      for (ZutWord moved : from) push(moved);
    }
  }
  void remove(ZutWord key) {
    auto &from = chain(key);
    if (from.front() != key) --collisions;
    from.erase(std::find(from.begin(), from.end(), key));
    --count;
  }
  std::vector<ZutWord> keys() const {
    std::vector<ZutWord> all;
    for (const auto &from : chains) all.insert(all.end(), from.begin(), from.end());
    return all;
  }
};

uint32_t Z_CALL fewChains(ZutWord key) { return static_cast<uint32_t>(key % 5); }
int32_t Z_CALL same(ZutWord a, ZutWord b) { return a == b; }

} // namespace

TEST(Hash, OrderGrowthAndCollisionsFollowTheModel) {
  std::mt19937 random(1);
  for (int kind = 0; kind < 5; ++kind) {
    ZutHashTable *table = kind == 0   ? ZutHashCreateInt(0)
                          : kind == 1 ? ZutHashCreatePtr(0)
                          : kind == 2 ? ZutHashCreate(0, fewChains, same)
                          : kind == 3 ? ZutHashCreateInt(0)  // from here on with
                                      : ZutHashCreatePtr(0); // long chains
    Model model;
    model.hash = ZutHashGetHashFunc(table);
    std::vector<ZutWord> present;
    for (int step = 0; step < 3000; ++step) {
      if (present.empty() || random() % 3) {
        ZutWord key = static_cast<ZutWord>(random() % 100000) * 8 + 1;
        if (kind > 2) key = (key & 0x3fff) << 16 | 1;
        if (ZutHashLookupBucket(table, key)) continue;
        ZutHashInsert(table, key, key + 1);
        model.insert(key);
        present.push_back(key);
      } else {
        std::swap(present[random() % present.size()], present.back());
        EXPECT_EQ(ZutHashDelete(table, present.back()), present.back() + 1);
        model.remove(present.back());
        present.pop_back();
      }
      if (step % 100 == 0) {
        EXPECT_EQ(keysOf(table), model.keys());
      }
    }
    EXPECT_EQ(keysOf(table), model.keys());
    EXPECT_EQ(ZutHashGetSize(table), static_cast<int32_t>(model.count));
    EXPECT_EQ(ZutHashGetCollisions(table), model.collisions);
    EXPECT_EQ(ZutHashGetFirstBucket(table)->key, model.keys().front());
    for (ZutWord key : present) EXPECT_EQ(ZutHashLookupInt(table, key), key + 1);
    EXPECT_EQ(ZutHashLookup(table, 0x7fff0001), 0);
    ZutHashReset(table, nullptr, 0);
    for (ZutWord key : present) ZutHashInsert(table, key, key);
    for (ZutWord key : present) EXPECT_EQ(ZutHashLookup(table, key), key);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, TextNumbersAreThatOfTheContract) {
  ZutHashTable *text = ZutHashCreateStr(4);
  ZutHashTable *folded = ZutHashCreateStri(4);
  std::mt19937 random(2);
  for (int length = 0; length < 40; ++length) {
    std::string key(length, '\0');
    for (char &c : key) c = static_cast<char>(1 + random() % 255);
    uint32_t plain = 0;
    uint32_t lower = 0;
    for (char c : key) {
      plain = plain * 27 + static_cast<uint32_t>(static_cast<signed char>(c));
      if (c >= 'A' && c <= 'Z') c += 32;
      lower = lower * 27 + static_cast<uint32_t>(static_cast<signed char>(c));
    }
    EXPECT_EQ(ZutHashGetHashFunc(text)(word(key.c_str())), plain);
    EXPECT_EQ(ZutHashGetHashFunc(folded)(word(key.c_str())), lower);
  }
  ZutHashInsert(text, word("Abc"), 1);
  ZutHashInsert(text, word("aBC"), 2);
  ZutHashInsert(folded, word("Abc"), 1);
  EXPECT_EQ(ZutHashGetSize(text), 2);
  EXPECT_EQ(ZutHashLookup(folded, word("aBC")), 1);
  EXPECT_EQ(ZutHashLookup(folded, word("aBCd")), 0);
  EXPECT_EQ(ZutHashLookup(folded, word("")), 0);
  ZutHashDestroy(text, nullptr, 0);
  ZutHashDestroy(folded, nullptr, 0);
}

TEST(Hash, SizesFollowTheRule) {
  EXPECT_EQ(ZutRoundUpToPowerOf2(-5), 2);
  EXPECT_EQ(ZutRoundUpToPowerOf2(3), 4);
  EXPECT_EQ(ZutRoundUpToPowerOf2(64), 64);
  EXPECT_EQ(ZutRoundUpToPowerOf2(65), 128);
  EXPECT_EQ(ZutRoundUpToPowerOf2((1 << 30) + 1), 2);
  const struct {
    int32_t expected;
    const char *sizes;
  } cases[] = {{0, "Size = 8, Num Entries = 0, Max Entries = 6,"},
               {6, "Size = 8, Num Entries = 0, Max Entries = 6,"},
               {7, "Size = 16, Num Entries = 0, Max Entries = 12,"},
               {100, "Size = 256, Num Entries = 0, Max Entries = 192,"}};
  for (const auto &c : cases) {
    Capture capture;
    ZutHashTable *table = ZutHashCreateInt(c.expected);
    ZutHashDump(table, ZutOut);
    EXPECT_NE(capture.text().find(c.sizes), std::string::npos) << capture.text();
    ZutHashResize(table, 300); // 399.9 in 512 chains
    ZutHashResize(table, 4);   // never back
    ZutHashDump(table, ZutOut);
    EXPECT_NE(capture.text().find("Size = 512"), std::string::npos);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, CountedTablesKeepTheFirstValueUntilTheLastDelete) {
  ZutHashTable *table = ZutHashCreateInt(4);
  EXPECT_EQ(ZutHashSetReferenceCounted(table, 2), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutHashSetReferenceCounted(table, 1), 1);
  ZutHashInsert(table, 5, 50);
  ZutHashInsert(table, 5, 51);
  EXPECT_EQ(ZutHashSetReferenceCounted(table, 0), 0);
  for (int key = 100; key < 120; ++key) ZutHashInsert(table, key, 1); // counts survive growth
  EXPECT_EQ(ZutHashDeleteBucket(table, 5), ZutHashLookupBucket(table, 5));
  EXPECT_EQ(ZutHashLookup(table, 5), 50);
  ZutHashBucket *bucket = ZutHashDeleteBucket(table, 5);
  ASSERT_NE(bucket, nullptr);
  EXPECT_EQ(bucket->value, 50);
  EXPECT_EQ(bucket->ref_count, 0);
  EXPECT_EQ(bucket->next, nullptr);
  ZutFree(bucket); // the caller's block, not a part of the table's
  EXPECT_EQ(ZutHashDelete(table, 5), 0);
  EXPECT_EQ(ZutErrNumGet(), 8);
  ZutHashReset(table, nullptr, 0);
  EXPECT_EQ(ZutHashGetReferenceCounted(table), 0);
  EXPECT_EQ(ZutHashGetFirstBucket(table), nullptr);
  ZutHashDestroy(table, nullptr, 0);
}

// All of one number: a search of the chain would take minutes.
TEST(Hash, TextsThatWereChosenToCollideAreFoundAtOnce) {
  constexpr int pairs = 16;
  std::vector<std::string> names(1 << pairs);
  for (size_t i = 0; i < names.size(); ++i) {
    for (int bit = 0; bit < pairs; ++bit) names[i] += i >> bit & 1 ? "a}" : "bb";
  }
  for (ZutHashTable *table : {ZutHashCreateStr(4), ZutHashCreateStri(4)}) {
    for (const std::string &name : names) ZutHashInsert(table, word(name.c_str()), word(&name));
    EXPECT_EQ(ZutHashGetCollisions(table), (1 << pairs) - 1);
    EXPECT_EQ(ZutHashGetFirstBucket(table)->value, word(&names.back())); // the newest
    for (const std::string &name : names) {
      const std::string same = name;
      ASSERT_EQ(ZutHashReplace(table, word(same.c_str()), 1), word(&name));
      ASSERT_EQ(ZutHashReplace(table, word(name.c_str()), word(&name)), 1);
    }
    EXPECT_EQ(ZutHashLookup(table, word(names[0].substr(1).c_str())), 0);
    EXPECT_EQ(ZutHashDelete(table, word(names.back().c_str())), word(&names.back()));
    EXPECT_EQ(ZutHashLookup(table, word(names.back().c_str())), 0);
    ZutHashDestroy(table, nullptr, 0);
  }
}

namespace {

struct Meddler {
  ZutHashTable *table;
  std::vector<ZutWord> visited;
  int action;
};

int32_t Z_CALL meddle(ZutWord key, ZutWord, ZutWord argument) {
  auto &meddler = *reinterpret_cast<Meddler *>(argument);
  meddler.visited.push_back(key);
  switch (meddler.action) {
  case 0: ZutHashDelete(meddler.table, key); break;
  case 1: // its neighbours in the chain, so the noted next as well
    for (ZutWord other = 0; other < 20; ++other) ZutHashDelete(meddler.table, other);
    break;
  case 2: // enough to ask for growth
    for (ZutWord other = 0; other < 4; ++other)
      ZutHashReplace(meddler.table, 1000 * (key + 1) + other, 1);
    return meddler.visited.size() == 20;
  case 3: ZutHashReset(meddler.table, nullptr, 0); break;
  case 4: // a traversal inside, which deletes
    ZutHashTraverse(
        meddler.table,
        [](ZutWord inner, ZutWord, ZutWord table) {
          ZutHashDelete(reinterpret_cast<ZutHashTable *>(table), inner);
          return 0;
        },
        word(meddler.table));
    break;
  }
  return 0;
}

} // namespace

TEST(Hash, TraversalBearsEveryChangeOfTheTable) {
  for (int action = 0; action < 5; ++action) {
    ZutHashTable *table = ZutHashCreate(20, fewChains, same); // long chains
    for (ZutWord key = 0; key < 20; ++key) ZutHashInsert(table, key, 1);
    Meddler meddler = {table, {}, action};
    const int32_t stopped = ZutHashTraverse(table, meddle, word(&meddler));
    EXPECT_EQ(stopped, action == 2);
    EXPECT_EQ(meddler.visited.size(), action == 0 || action == 2 ? 20u : 1u) << action;
    EXPECT_EQ(ZutHashGetSize(table), action == 2 ? 80 + 20 : 0);
    if (action == 2) {
      for (ZutWord key : meddler.visited) EXPECT_EQ(ZutHashLookup(table, key), 1);
    }
    for (ZutWord key = 5000; key < 5100; ++key) ZutHashReplace(table, key, key);
    for (ZutWord key = 5000; key < 5100; ++key) EXPECT_EQ(ZutHashLookup(table, key), key);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, SortsKeysAndValuesTogether) {
  const auto compare = [](ZutWord a, ZutWord b) { return a < b ? -1 : a > b ? 1 : 0; };
  const auto odd = [](ZutWord key, ZutWord) { return static_cast<int32_t>(key & 1); };
  const auto none = [](ZutWord, ZutWord) { return 0; };
  std::mt19937 random(3);
  for (int entries = 0; entries < 70; ++entries) {
    ZutHashTable *table = ZutHashCreateInt(4);
    std::vector<ZutWord> expected;
    for (int i = 0; i < entries; ++i) {
      const ZutWord key = static_cast<ZutWord>(random() % 1000);
      if (ZutHashReplace(table, key, -key - 1) == 0 && (key & 1)) expected.push_back(key);
    }
    std::sort(expected.begin(), expected.end());
    int32_t count = -1;
    ZutWord *keys = ZutHashSortKeys(table, &count, compare, odd);
    ASSERT_EQ(static_cast<size_t>(count), expected.size());
    EXPECT_EQ(keys == nullptr, expected.empty());
    ZutWord *values = ZutHashSort(table, &count, compare, odd);
    for (int32_t i = 0; i < count; ++i) {
      EXPECT_EQ(keys[i], expected[i]);
      EXPECT_EQ(values[i], -expected[i] - 1);
    }
    ZutFree(keys);
    ZutFree(values);
    EXPECT_EQ(ZutHashSort(table, &count, compare, none), nullptr);
    EXPECT_EQ(count, 0);
    ZutHashDestroy(table, nullptr, 0);
  }
  ZutHashTable *table = ZutHashCreateStr(4);
  for (const char *name : {"beta", "Alpha", "gamma"}) ZutHashInsert(table, word(name), name[0]);
  std::string order;
  const auto note = [](ZutWord value, ZutWord text) {
    reinterpret_cast<std::string *>(text)->push_back(static_cast<char>(value));
    return static_cast<int32_t>(value == 'b' ? 7 : 0);
  };
  EXPECT_EQ(ZutHashSortTraverse(table, note, word(&order), nullptr, nullptr), 7);
  EXPECT_EQ(order, "Ab");
  ZutHashDestroy(table, nullptr, 0);
}

TEST(Hash, DumpShowsChainsKeysAndCounts) {
  Capture capture;
  ZutHashTable *table = ZutHashCreateStr(4);
  ZutHashSetReferenceCounted(table, 1);
  for (const char *key : {"a", "i", "a"}) ZutHashInsert(table, word(key), 255); // both chain 1
  ZutHashDump(table, ZutOut);
  EXPECT_EQ(capture.take(),
            "*** Dumping Hash Table ***\n"
            "  Size = 8, Num Entries = 2, Max Entries = 6, Collisions = 1\n"
            "  All Buckets: Avg Size = 0.25, Std Dev = 1.87083\n"
            "  Non-Empty Buckets (1): Avg Size = 2, Std Dev = 1.87083\n"
            "  Bucket 0 has 0 entries\n  Bucket 1 has 2 entries\n"
            "    i\tff\n    ref_count: 1\n    a\tff\n    ref_count: 2\n"
            "  Bucket 2 has 0 entries\n  Bucket 3 has 0 entries\n  Bucket 4 has 0 entries\n"
            "  Bucket 5 has 0 entries\n  Bucket 6 has 0 entries\n  Bucket 7 has 0 entries\n");
  ZutHashDestroy(table, nullptr, 0);
}

TEST(Hash, FreesKeysAndValues) { // the address sanitizer counts
  const auto make = [] { return word(ZutMalloc(8)); };
  ZutHashTable *table = ZutHashCreatePtr(4);
  const auto fill = [&](bool keys, bool values) {
    for (int i = 1; i < 10; ++i) ZutHashInsert(table, keys ? make() : i, values ? make() : i);
  };
  fill(true, false), ZutHashResetFreeKey(table);
  fill(false, true), ZutHashResetFreeValue(table);
  fill(true, true), ZutHashResetFreeKeyValue(table);
  EXPECT_EQ(ZutHashGetSize(table), 0);
  fill(true, true), ZutHashDestroyFreeKeyValue(table);
}

CHILD(duplicate) {
  ZutHashTable *table = ZutHashCreateStr(4);
  ZutHashInsert(table, word("name"), 1);
  ZutHashInsert(table, word("name"), 2);
  ZutOut("value %ld\n", static_cast<long>(ZutHashLookup(table, word("name"))));
}

TEST(Hash, DuplicateKeysAreReported) {
  const std::string line = "ORL-WL-0000-W ZutHashInsert: key name already exists in hash table\n";
  EXPECT_EQ(runChild("duplicate").out, line + "value 1\n");
  const Result dumped = runChild("duplicate", {{"HASH_INSERT_VERBOSE_ERROR", "1"}});
  EXPECT_NE((dumped.out + dumped.err).find("    name\t1\n"), std::string::npos);
  const Result ended =
      runChild("duplicate", {{"HASH_INSERT_FATAL_ERROR", "1"}, {"VN_FATAL_ERROR_ABORT", "1"}});
  EXPECT_NE((ended.out + ended.err).find("ZutHashInsert duplicate."), std::string::npos);
  EXPECT_TRUE(ended.aborted());
}
