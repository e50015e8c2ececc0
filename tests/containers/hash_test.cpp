#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <functional>
#include <random>

namespace {

using Keys = std::vector<ZutWord>;
using Visit = std::function<int32_t(ZutWord)>;

template <class T>
ZutWord word(T *pointer) {
  return reinterpret_cast<ZutWord>(pointer);
}

int32_t traverse(ZutHashTable *table, const Visit &visit) {
  const auto call = [](ZutWord key, ZutWord, ZutWord function) {
    return (*reinterpret_cast<const Visit *>(function))(key);
  };
  return ZutHashTraverse(table, call, word(&visit));
}

Keys keysOf(ZutHashTable *table) {
  Keys keys;
  EXPECT_ERROR(18, traverse(table, [&](ZutWord key) { return keys.push_back(key), 0; }));
  return keys;
}

// The order, growth and collision counter that the header promises, in the plainest form.
struct Model {
  ZutHashFunc hash;
  std::vector<Keys> chains;
  int32_t collisions = 0, count = 0;

  Keys &chain(ZutWord key) { return chains[hash(key) & (chains.size() - 1)]; }
  void push(ZutWord key) {
    collisions += !chain(key).empty();
    chain(key).insert(chain(key).begin(), key);
  }
  void insert(ZutWord key) {
    push(key);
    if (++count <= static_cast<int32_t>(chains.size()) / 4 * 3) return;
    const Keys old = keys();
    chains = std::vector<Keys>(4 * chains.size());
    collisions = 0;
    for (ZutWord moved : old) push(moved);
  }
  void remove(ZutWord key) {
    collisions -= chain(key).front() != key;
    std::erase(chain(key), key);
    --count;
  }
  Keys keys() const {
    Keys all;
    for (const Keys &from : chains) all.insert(all.end(), from.begin(), from.end());
    return all;
  }
};

uint32_t Z_CALL fewChains(ZutWord key) { return static_cast<uint32_t>(key % 5); }
int32_t Z_CALL same(ZutWord a, ZutWord b) { return a == b; }

} // namespace

TEST(Hash, OrderGrowthAndCollisionsFollowTheModel) {
  const struct {
    ZutHashTable *table;
    size_t chains;
    bool collide; // keys that differ in their upper bits only
  } rows[] = {{ZutHashCreateInt(6), 8, false},
              {ZutHashCreatePtr(7), 16, false},
              {ZutHashCreateInt(0), 8, true},
              {ZutHashCreatePtr(100), 256, true},
              {ZutHashCreate(0, fewChains, same), 8, false}};
  std::mt19937 random(1);
  for (const auto &row : rows) {
    ZutHashTable *table = row.table;
    Model model = {ZutHashGetHashFunc(table), std::vector<Keys>(row.chains)};
    Keys present;
    for (int step = 0; step < 3000; ++step) {
      if (present.empty() || random() % 3) {
        ZutWord key = static_cast<ZutWord>(random() % 100000) * 8 + 1;
        if (row.collide) key = (key & 0x3fff) << 16 | 1;
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
    EXPECT_EQ(ZutHashGetSize(table), model.count);
    EXPECT_EQ(ZutHashGetCollisions(table), model.collisions);
    EXPECT_EQ(ZutHashGetFirstBucket(table)->key, model.keys().front());
    for (ZutWord key : present) EXPECT_EQ(ZutHashLookupInt(table, key), key + 1);
    EXPECT_ERROR(8, ZutHashLookup(table, 0x7fff0001));
    ZutHashReset(table, nullptr, 0);
    for (ZutWord key : present) ZutHashInsert(table, key, key);
    for (ZutWord key : present) EXPECT_EQ(ZutHashLookup(table, key), key);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, TextsHaveTheDocumentedHashValues) {
  ZutHashTable *tables[] = {ZutHashCreateStr(4), ZutHashCreateStri(4)};
  std::mt19937 random(2);
  for (const bool folded : {false, true}) {
    for (int length = 0; length < 40; ++length) {
      std::string key(length, '\0');
      for (char &c : key) c = static_cast<char>(1 + random() % 255);
      uint32_t expected = 0;
      for (char c : key) {
        if (folded && c >= 'A' && c <= 'Z') c += 32;
        expected = expected * 27 + static_cast<uint32_t>(static_cast<signed char>(c));
      }
      EXPECT_EQ(ZutHashGetHashFunc(tables[folded])(word(key.c_str())), expected);
    }
    ZutHashInsert(tables[folded], word("Abc"), 1);
    EXPECT_EQ(ZutHashLookup(tables[folded], word("aBC")), folded);
    EXPECT_EQ(ZutHashLookup(tables[folded], word("aBCd")), 0);
    ZutHashDestroy(tables[folded], nullptr, 0);
  }
}

// All keys have one hash value: searching the chain would take minutes.
TEST(Hash, CollisionAttacksWithTextsAreFast) {
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
      const std::string copy = name;
      ASSERT_EQ(ZutHashReplace(table, word(copy.c_str()), 1), word(&name));
      ASSERT_EQ(ZutHashReplace(table, word(name.c_str()), word(&name)), 1);
    }
    EXPECT_EQ(ZutHashDelete(table, word(names.back().c_str())), word(&names.back()));
    for (const char *absent : {names.back().c_str(), names[0].c_str() + 1})
      EXPECT_EQ(ZutHashLookup(table, word(absent)), 0);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, TraversalBearsEveryChangeOfTheTable) {
  ZutHashTable *table;
  size_t visits;
  const Visit drop = [&](ZutWord key) { return ZutHashDelete(table, key), 0; };
  const Visit dropAll = [&](ZutWord) { // the neighbours in the chain too, so the noted next
    for (ZutWord key = 0; key < 20; ++key) ZutHashDelete(table, key);
    return 0;
  };
  const Visit grow = [&](ZutWord key) {
    for (ZutWord i = 0; i < 4; ++i) ZutHashReplace(table, 1000 * (key + 1) + i, 1);
    return int32_t{visits == 20};
  };
  const Visit reset = [&](ZutWord) { return ZutHashReset(table, nullptr, 0), 0; };
  const Visit nested = [&](ZutWord) { return traverse(table, drop); };
  for (const Visit *change : {&drop, &dropAll, &grow, &reset, &nested}) {
    table = ZutHashCreate(20, fewChains, same); // long chains
    for (ZutWord key = 0; key < 20; ++key) ZutHashInsert(table, key, 1);
    visits = 0;
    const int32_t stopped = traverse(table, [&](ZutWord key) { return ++visits, (*change)(key); });
    EXPECT_EQ(stopped, change == &grow);
    EXPECT_EQ(visits, change == &drop || change == &grow ? 20u : 1u);
    EXPECT_EQ(ZutHashGetSize(table), change == &grow ? 80 + 20 : 0);
    for (ZutWord key = 5000; key < 5100; ++key) ZutHashReplace(table, key, key);
    for (ZutWord key = 5000; key < 5100; ++key) EXPECT_EQ(ZutHashLookup(table, key), key);
    ZutHashDestroy(table, nullptr, 0);
  }
}

TEST(Hash, SortsKeysAndValuesTogether) {
  const auto compare = [](ZutWord a, ZutWord b) { return a < b ? -1 : a > b ? 1 : 0; };
  const auto odd = [](ZutWord key, ZutWord) { return static_cast<int32_t>(key & 1); };
  std::mt19937 random(3);
  for (int entries = 0; entries < 70; ++entries) {
    ZutHashTable *table = ZutHashCreateInt(4);
    Keys expected;
    for (int i = 0; i < entries; ++i) {
      const ZutWord key = static_cast<ZutWord>(random() % 1000);
      if (ZutHashReplace(table, key, -key - 1) == 0 && (key & 1)) expected.push_back(key);
    }
    std::sort(expected.begin(), expected.end());
    int32_t count = -1;
    ZutWord *keys = ZutHashSortKeys(table, &count, compare, odd);
    ASSERT_EQ(static_cast<size_t>(count), expected.size());
    EXPECT_EQ(Keys(keys, keys + count), expected);
    EXPECT_EQ(keys == nullptr, expected.empty());
    ZutWord *values = ZutHashSort(table, &count, compare, odd);
    for (int32_t i = 0; i < count; ++i) EXPECT_EQ(values[i], -expected[i] - 1);
    ZutFree(keys);
    ZutFree(values);
    ZutHashDestroy(table, nullptr, 0);
  }
  ZutHashTable *table = ZutHashCreateStr(4);
  for (const char *name : {"beta", "Alpha", "gamma"}) ZutHashInsert(table, word(name), name[0]);
  static std::string order;
  const auto note = [](ZutWord value, ZutWord last) {
    order += static_cast<char>(value);
    return value == last ? 7 : 0;
  };
  EXPECT_EQ(ZutHashSortTraverse(table, note, 'b', nullptr, nullptr), 7);
  EXPECT_EQ(order, "Ab");
  ZutHashDestroy(table, nullptr, 0);
}

TEST(Hash, CountedTablesKeepTheFirstValueUntilTheLastDelete) {
  Capture capture;
  ZutHashTable *table = ZutHashCreateStr(4);
  EXPECT_ERROR(7, ZutHashSetReferenceCounted(table, 2));
  EXPECT_EQ(ZutHashSetReferenceCounted(table, 1), 1);
  for (const char *key : {"a", "i", "a"}) ZutHashInsert(table, word(key), key[0]); // both chain 1
  EXPECT_ERROR(7, ZutHashSetReferenceCounted(table, 0));
  ZutHashDump(table, ZutOut);
  EXPECT_EQ(capture.text(),
            "*** Dumping Hash Table ***\n"
            "  Size = 8, Num Entries = 2, Max Entries = 6, Collisions = 1\n"
            "  All Buckets: Avg Size = 0.25, Std Dev = 1.87083\n"
            "  Non-Empty Buckets (1): Avg Size = 2, Std Dev = 1.87083\n"
            "  Bucket 0 has 0 entries\n  Bucket 1 has 2 entries\n"
            "    i\t69\n    ref_count: 1\n    a\t61\n    ref_count: 2\n"
            "  Bucket 2 has 0 entries\n  Bucket 3 has 0 entries\n  Bucket 4 has 0 entries\n"
            "  Bucket 5 has 0 entries\n  Bucket 6 has 0 entries\n  Bucket 7 has 0 entries\n");
  ZutHashResize(table, 300); // 399.9 in 512 chains; the counts survive
  ZutHashResize(table, 4);   // does not shrink
  ZutHashDump(table, ZutOut);
  EXPECT_NE(capture.text().find("Size = 512, Num Entries = 2, Max Entries = 384,"),
            std::string::npos);
  EXPECT_EQ(ZutHashDeleteBucket(table, word("a")), ZutHashLookupBucket(table, word("a")));
  ZutHashBucket *bucket = ZutHashDeleteBucket(table, word("a"));
  ASSERT_NE(bucket, nullptr);
  EXPECT_TRUE(bucket->value == 'a' && !bucket->ref_count && !bucket->next);
  ZutFree(bucket); // the caller's block, not a part of the table's
  EXPECT_ERROR(8, ZutHashDelete(table, word("a")));
  ZutHashReset(table, nullptr, 0);
  EXPECT_TRUE(!ZutHashGetReferenceCounted(table) && !ZutHashGetFirstBucket(table));
  ZutHashDestroy(table, nullptr, 0);
}

TEST(Hash, PowersOfTwo) {
  const int32_t powers[][2] = {{-5, 2}, {3, 4}, {64, 64}, {65, 128}, {(1 << 30) + 1, 2}};
  for (const auto &[n, power] : powers) EXPECT_EQ(ZutRoundUpToPowerOf2(n), power);
}

TEST(Hash, FreesKeysAndValues) { // the address sanitizer counts
  ZutHashTable *table = ZutHashCreatePtr(4);
  const auto fill = [table](bool keys, bool values) {
    const auto make = [](bool block, int i) { return block ? word(ZutMalloc(8)) : i; };
    for (int i = 1; i < 10; ++i) ZutHashInsert(table, make(keys, i), make(values, i));
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
  const Result ended = runChild("duplicate", {{"HASH_INSERT_VERBOSE_ERROR", "1"},
                                              {"HASH_INSERT_FATAL_ERROR", "1"},
                                              {"VN_FATAL_ERROR_ABORT", "1"}});
  for (const char *part : {"    name\t1\n", "ZutHashInsert duplicate."})
    EXPECT_NE((ended.out + ended.err).find(part), std::string::npos);
  EXPECT_TRUE(ended.aborted());
}
