// Hash tables with chaining; the number of chains is a power of two.
//
// Invariants: mask is buckets - 1; count is the number of nodes in the chains; keys are unique.
// A new node goes to the head of its chain, and growth takes the chains in order, each from its
// head, pushing every node on its new chain: the order of visits is part of the contract.
//
// Nodes are allocated in blocks and reused through a free list, so callers must never free one:
// ZutHashDeleteBucket returns a copy. While a traversal runs, deleted nodes keep their link and
// stay in the list `dead`, and growth is deferred: a traversal survives the deletion of its current
// node. Traversals are counted, not listed on the stack: one that was left by a jump then costs
// memory and speed, but leaves no dangling pointer.
//
// The hash function of texts is simple and documented, so collision attacks are possible. Once a
// chain of one of the ready-made kinds is long, look-ups use an index: a second table from the keys
// to the nodes with a keyed hash. Nodes never move, so growth does not affect the index.
//
// No lock: the owner of a table has one.
#include "containers/hash.h"

#include "base/check.h"
#include "base/env.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/print.h"
#include "base/report.h"
#include "base/setting.h"
#include "base/stop.h"
#include "base/text.h"
#include "containers/stronghash.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

namespace {

// An entry. It begins with the ZutHashBucket that callers see; on 64-bit platforms the hash value
// takes the place of padding.
struct HashNode {
  HashNode *next;
  ZutWord key;
  ZutWord value;
  int32_t ref_count; // 0: deleted while a traversal runs
  uint32_t hash;
};
static_assert(offsetof(HashNode, key) == offsetof(ZutHashBucket, key));
static_assert(offsetof(HashNode, value) == offsetof(ZutHashBucket, value));
static_assert(offsetof(HashNode, ref_count) == offsetof(ZutHashBucket, ref_count));
static_assert(sizeof(HashNode) <= sizeof(ZutHashBucket) + sizeof(uint32_t));

ZutHashBucket *bucketOf(HashNode *node) { return reinterpret_cast<ZutHashBucket *>(node); }

struct HashBlock {
  HashBlock *next;
};

// Nodes of a new block: as many as the table has, within these bounds.
constexpr int32_t Z_BLOCK_MIN = 8;
constexpr int32_t Z_BLOCK_MAX = 1024;

// The nodes of a block begin at a cache line: on 64-bit platforms none lies across two.
constexpr uintptr_t Z_LINE = 64;

// Growth visits the nodes in an order that is random in memory, so it prefetches.
constexpr int32_t Z_AHEAD = 16;

// Longer chains are treated as a collision attack.
constexpr int32_t Z_CHAIN_LONG = 16;

// Keys of the ready-made kinds are compared inline; `other` calls the table's functions; a table of
// a ready-made kind that has an index is `indexed`.
enum class HashKind : int32_t { number, address, text, word, other, indexed };

} // namespace

struct ZutHashTable {
  int32_t buckets;
  int32_t count;
  int32_t threshold;
  uint32_t mask;
  int32_t collisions;
  int32_t ref_counted;
  HashNode **chains;
  ZutHashFunc hash;
  ZutHashTestFunc test;
  HashKind kind;
  int32_t shift;  // of a number or address: the low bits that are not hashed
  int32_t walks;  // traversals in progress
  int32_t wanted; // the size requested during traversals, or 0
  HashNode *free;
  HashNode *fresh; // the part of the newest block that was never used
  HashNode *freshEnd;
  HashNode *dead; // deleted while a traversal runs, linked through value
  HashBlock *blocks;
  ZutHashTable *index; // from keys to nodes; null unless indexed
};

namespace {

// --- Ready-made functions ---

uint32_t Z_CALL hashNumber(ZutWord key) { return static_cast<uint32_t>(key); }
constexpr int32_t Z_ADDRESS_SHIFT = 4;
uint32_t Z_CALL hashAddress(ZutWord key) {
  return static_cast<uint32_t>(static_cast<uintptr_t>(key) >> Z_ADDRESS_SHIFT);
}
int32_t Z_CALL sameNumber(ZutWord sought, ZutWord stored) { return sought == stored; }

const char *textOf(ZutWord key) { return reinterpret_cast<const char *>(key); }

// h = h * 27 + c over the bytes, each sign-extended whatever the sign of char. Four bytes a step
// shorten the chain of dependent multiplications.
template <char Fold(char)>
[[gnu::always_inline]] inline uint32_t hashChars(const char *text) {
  const auto code = [](char c) { return static_cast<uint32_t>(static_cast<signed char>(Fold(c))); };
  for (uint32_t h = 0;; text += 4) {
    if (!text[0]) return h;
    const uint32_t one = code(text[0]);
    if (!text[1]) return h * 27 + one;
    const uint32_t two = one * 27 + code(text[1]);
    if (!text[2]) return h * (27 * 27) + two;
    const uint32_t three = two * 27 + code(text[2]);
    if (!text[3]) return h * (27 * 27 * 27) + three;
    h = h * (27 * 27 * 27 * 27) + three * 27 + code(text[3]);
  }
}

uint32_t Z_CALL hashText(ZutWord key) { return hashChars<utAsIs>(textOf(key)); }
uint32_t Z_CALL hashWord(ZutWord key) { return hashChars<utLower>(textOf(key)); }
int32_t Z_CALL sameText(ZutWord sought, ZutWord stored) {
  return utSame(textOf(sought), textOf(stored));
}
// Fast path: most words are given in the case in which they are stored.
int32_t Z_CALL sameWord(ZutWord sought, ZutWord stored) {
  return sameText(sought, stored) || utSameWord(textOf(sought), textOf(stored));
}

HashKind kindOf(ZutHashFunc hash, ZutHashTestFunc test) {
  if (hash == hashNumber && test == sameNumber) return HashKind::number;
  if (hash == hashAddress && test == sameNumber) return HashKind::address;
  if (hash == hashText && test == sameText) return HashKind::text;
  if (hash == hashWord && test == sameWord) return HashKind::word;
  return HashKind::other;
}

// --- Nodes ---

[[gnu::noinline]] void blockAdd(ZutHashTable &table) {
  const int32_t nodes = std::clamp(table.count, Z_BLOCK_MIN, Z_BLOCK_MAX);
  const auto size = static_cast<int32_t>(sizeof(HashNode)) * nodes + static_cast<int32_t>(Z_LINE);
  auto *block = static_cast<HashBlock *>(Z_MALLOC(size, "new_bucket"));
  block->next = table.blocks;
  table.blocks = block;
  const auto after = reinterpret_cast<uintptr_t>(block) + Z_LINE; // past the link
  table.fresh = reinterpret_cast<HashNode *>(after - after % Z_LINE);
  table.freshEnd = table.fresh + nodes;
  utCheck(reinterpret_cast<uint8_t *>(table.freshEnd) <= reinterpret_cast<uint8_t *>(block) + size);
}

HashNode *nodeNew(ZutHashTable &table) {
  if (HashNode *node = table.free) {
    table.free = node->next;
    return node;
  }
  if (table.fresh == table.freshEnd) blockAdd(table);
  utCheck(table.fresh < table.freshEnd);
  return table.fresh++;
}

// For a node that is out of its chain but still has its link.
void nodeFree(ZutHashTable &table, HashNode *node) {
  utCheck(table.walks >= 0);
  if (!table.walks) {
    node->next = table.free;
    table.free = node;
    return;
  }
  node->ref_count = 0;
  node->key = 0;
  node->value = reinterpret_cast<ZutWord>(table.dead);
  table.dead = node;
}

void blocksFree(ZutHashTable &table) {
  while (HashBlock *block = table.blocks) {
    table.blocks = block->next;
    Z_FREE(block, "bucket");
  }
  table.free = table.fresh = table.freshEnd = nullptr;
}

// --- The core ---

// The result of a search: the key's node or null, its hash value, and the number of nodes passed in
// the chain (0 through the index).
struct Found {
  HashNode *node;
  uint32_t hash;
  int32_t passed;
};

template <class Same>
[[gnu::always_inline]] inline Found findIn(const ZutHashTable &table, uint32_t hash, Same same) {
  HashNode *node = table.chains[hash & table.mask];
  int32_t passed = 0;
  for (; node && !same(node); node = node->next) ++passed;
  return {node, hash, passed};
}

// By text, by the index, or by the functions of the table.
[[gnu::noinline]] Found findSlowly(const ZutHashTable &table, ZutWord key) {
  if (table.kind == HashKind::text) {
    const uint32_t hash = hashChars<utAsIs>(textOf(key));
    return findIn(table, hash, [=](const HashNode *node) {
      return node->hash == hash && sameText(key, node->key);
    });
  }
  const uint32_t hash = table.hash(key);
  switch (table.kind) {
  case HashKind::word:
    return findIn(table, hash, [=](const HashNode *node) {
      return node->hash == hash && sameWord(key, node->key);
    });
  case HashKind::indexed:
    utCheck(table.index->count <= table.count);
    return {utHashGet<HashNode>(table.index, key), hash, 0};
  default:
    return findIn(table, hash, [&](const HashNode *node) { return table.test(key, node->key); });
  }
}

[[gnu::always_inline]] inline Found find(const ZutHashTable &table, ZutWord key) {
  if (table.kind > HashKind::address) return findSlowly(table, key);
  const auto hash = static_cast<uint32_t>(static_cast<uintptr_t>(key) >> table.shift);
  return findIn(table, hash, [=](const HashNode *node) { return node->key == key; });
}

void push(ZutHashTable &table, HashNode *node) {
  utCheck(table.mask == static_cast<uint32_t>(table.buckets - 1));
  HashNode *&chain = table.chains[node->hash & table.mask];
  table.collisions += chain != nullptr;
  node->next = chain;
  chain = node;
}

// Room for `expected` entries: the size rule.
void chainsAllocate(ZutHashTable &table, int64_t expected) {
  const auto least = static_cast<uint64_t>(static_cast<double>(std::max<int64_t>(expected, 4)) *
                                           1.3333333333333333);
  const auto buckets = static_cast<int64_t>(std::bit_ceil(least));
  const int64_t size = buckets * static_cast<int64_t>(sizeof(HashNode *));
  const int32_t checked = size <= INT32_MAX ? static_cast<int32_t>(size) : -1; // -1: exhausted
  table.chains = static_cast<HashNode **>(Z_MALLOC(checked, "table->buckets"));
  std::fill_n(table.chains, buckets, nullptr);
  table.buckets = static_cast<int32_t>(buckets);
  table.mask = static_cast<uint32_t>(buckets - 1);
  table.threshold = table.buckets / 4 * 3;
  utCheck(std::has_single_bit(static_cast<uint32_t>(table.buckets)) && table.threshold);
}

// Takes no lock: an index is made under the lock of the table's owner.
ZutHashTable *create(int32_t expected, ZutHashFunc hash, ZutHashTestFunc test) {
  auto *table = utNew<ZutHashTable>("table");
  chainsAllocate(*table, expected);
  table->hash = hash;
  table->test = test;
  table->kind = kindOf(hash, test);
  table->shift = table->kind == HashKind::address ? Z_ADDRESS_SHIFT : 0;
  return table;
}

// Replaces each of `count` nodes by map(node) and removes the nulls. Returns the number left.
template <class Map>
int32_t keep(HashNode **nodes, int32_t count, Map map) {
  int32_t kept = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (i + Z_AHEAD < count) __builtin_prefetch(nodes[i + Z_AHEAD]);
    HashNode *node = map(nodes[i]);
    nodes[kept] = node;
    kept += node != nullptr;
  }
  return kept;
}

[[gnu::noinline]] void grow(ZutHashTable &table, int64_t expected) {
  if (table.buckets > expected) return;
  if (table.walks) {
    table.wanted = static_cast<int32_t>(std::clamp<int64_t>(expected, table.wanted, INT32_MAX));
    return;
  }
  HashNode **old = table.chains;
  const int32_t chains = table.buckets;
  chainsAllocate(table, expected);
  table.collisions = 0;
  // First the heads of all chains, then the second nodes, and so on. Each chain is taken in order,
  // and no branch depends on the length of a chain, which is unpredictable.
  int32_t rest = keep(old, chains, [](HashNode *node) { return node; });
  while (rest) {
    rest = keep(old, rest, [&](HashNode *node) {
      HashNode *next = node->next;
      push(table, node);
      return next;
    });
  }
  Z_FREE(old, "bigger_table");
}

void indexNode(ZutHashTable &table, HashNode *node) {
  ZutHashInsert(table.index, node->key, reinterpret_cast<ZutWord>(node));
}

[[gnu::noinline]] void indexMake(ZutHashTable &table) {
  const ZutHashFunc strong = table.kind == HashKind::text   ? utStrongText
                             : table.kind == HashKind::word ? utStrongWord
                                                            : utStrongNumber;
  table.index = create(table.count, strong, table.test);
  table.kind = HashKind::indexed;
  for (int32_t i = 0; i < table.buckets; ++i) {
    for (HashNode *node = table.chains[i]; node; node = node->next) indexNode(table, node);
  }
}

void indexDrop(ZutHashTable &table) {
  if (!table.index) return;
  ZutHashDestroy(table.index, nullptr, 0);
  table.index = nullptr;
  table.kind = kindOf(table.hash, table.test);
}

// Asks for twice the chains and gets four times, because the request meets the size rule again:
// 8, 32, 128, 512 chains. Kept; it buys short chains.
[[gnu::always_inline]] inline void add(ZutHashTable &table, ZutWord key, ZutWord value,
                                       Found found) {
  HashNode *node = nodeNew(table);
  node->key = key;
  node->value = value;
  node->ref_count = 1;
  node->hash = found.hash;
  push(table, node);
  if (table.index) [[unlikely]]
    indexNode(table, node);
  else if (found.passed >= Z_CHAIN_LONG && table.kind != HashKind::other) indexMake(table);
  if (++table.count > table.threshold) grow(table, int64_t{2} * table.buckets);
}

// Takes a node out of its chain; the node keeps its link.
void takeOut(ZutHashTable &table, HashNode *node) {
  HashNode **link = &table.chains[node->hash & table.mask];
  utCheck(table.count > 0);
  if (*link != node) {
    --table.collisions; // not for the head of a longer chain: callers see this number
    do {
      utCheck(*link != nullptr); // the node is in its chain
      link = &(*link)->next;
    } while (*link != node);
  }
  *link = node->next;
  --table.count;
  if (table.index) ZutHashDelete(table.index, node->key);
}

void walkBegin(ZutHashTable &table) { ++table.walks; }

void walkEnd(ZutHashTable &table) {
  utCheck(table.walks > 0);
  if (--table.walks) return;
  while (HashNode *node = table.dead) {
    utCheck(node->ref_count == 0);
    table.dead = reinterpret_cast<HashNode *>(node->value);
    nodeFree(table, node);
  }
  if (const int32_t wanted = table.wanted) {
    table.wanted = 0;
    grow(table, wanted);
  }
}

// Calls visit(node) for every node until it returns something other than 0.
template <class Visit>
int32_t walk(ZutHashTable &table, Visit visit) {
  int32_t result = 0;
  walkBegin(table);
  for (int32_t i = 0; i < table.buckets && !result; ++i) {
    for (HashNode *node = table.chains[i]; node && !result;) {
      HashNode *next = node->next;
      result = visit(node);
      while (next && !next->ref_count) next = next->next;
      node = next;
    }
  }
  walkEnd(table);
  return result;
}

void clear(ZutHashTable &table, ZutHashDestroyFunc function, ZutWord argument) {
  const bool inside = table.walks != 0; // a node may be the current one of a traversal
  walkBegin(table);
  indexDrop(table);
  for (int32_t i = 0; (function || inside) && i < table.buckets; ++i) {
    while (HashNode *node = table.chains[i]) {
      table.chains[i] = node->next;
      if (function) function(node->key, node->value, argument);
      if (inside) nodeFree(table, node);
    }
  }
  std::fill_n(table.chains, table.buckets, nullptr); // drops what the function inserted
  indexDrop(table);
  table.count = 0;
  table.collisions = 0;
  table.ref_counted = 0;
  table.wanted = 0;
  walkEnd(table);
  if (!table.walks) blocksFree(table);
}

void Z_CALL freeKey(ZutWord key, ZutWord, ZutWord) { Z_FREE(reinterpret_cast<void *>(key), "key"); }
void Z_CALL freeValue(ZutWord, ZutWord value, ZutWord) {
  Z_FREE(reinterpret_cast<void *>(value), "value");
}
void Z_CALL freeBoth(ZutWord key, ZutWord value, ZutWord argument) {
  freeKey(key, value, argument);
  freeValue(key, value, argument);
}

// --- Texts ---

// The key as text, in this thread's buffer.
const char *keyText(const ZutHashTable &table, ZutWord key) {
  char number[24];
  const char *text = number;
  if (table.hash == hashText || table.hash == hashWord) text = textOf(key);
  else std::snprintf(number, sizeof number, "%ld", static_cast<long>(key));
  const size_t size = std::strlen(text) + 1;
  char *buffer = utThreadText(TextSlot::hashKey, static_cast<int32_t>(size));
  std::memcpy(buffer, text, size);
  return buffer;
}

void reportDuplicate(ZutHashTable &table, ZutWord key) {
  ZutOut("ORL-WL-0000-W ZutHashInsert: key %s already exists in hash table\n", keyText(table, key));
  if (utEnvIsSet("HASH_INSERT_VERBOSE_ERROR")) ZutHashDump(&table, ZutOutDebug);
  if (utEnvIsSet("HASH_INSERT_FATAL_ERROR")) ZutFatalError("ZutHashInsert duplicate.");
}

int32_t chainLength(const HashNode *node) {
  int32_t length = 0;
  for (; node; node = node->next) ++length;
  return length;
}

// The sum over the chains, all or those in use, of the squared distance of length and average.
double spread(const ZutHashTable &table, double average, bool all) {
  double sum = 0;
  for (int32_t i = 0; i < table.buckets; ++i) {
    const int32_t length = chainLength(table.chains[i]);
    if (all || length) sum += (length - average) * (length - average);
  }
  return sum;
}

void dumpSizes(ZutHashTable &table, ZutPrintFunc out) {
  const auto used = std::count_if(table.chains, table.chains + table.buckets,
                                  [](const HashNode *chain) { return chain != nullptr; });
  const double average = static_cast<double>(table.count) / table.buckets;
  const double averageUsed = used ? static_cast<double>(table.count) / used : 0;
  // Neither sum is divided by the number of chains, and the second includes the first. Kept.
  const double sum = spread(table, average, true);
  const double sumUsed = sum + spread(table, averageUsed, false);
  out("*** Dumping Hash Table ***\n");
  out("  Size = %ld, Num Entries = %ld, Max Entries = %ld, Collisions = %ld\n",
      static_cast<long>(table.buckets), static_cast<long>(table.count),
      static_cast<long>(table.threshold), static_cast<long>(table.collisions));
  out("  All Buckets: Avg Size = %s", ZutRealToStr(average));
  out(", Std Dev = %s\n", ZutRealToStr(std::sqrt(sum)));
  out("  Non-Empty Buckets (%ld): Avg Size = %s", static_cast<long>(used),
      ZutRealToStr(averageUsed));
  out(", Std Dev = %s\n", ZutRealToStr(std::sqrt(sumUsed)));
}

void dumpChain(const ZutHashTable &table, int32_t index, ZutPrintFunc out) {
  out("  Bucket %ld has %ld entries\n", static_cast<long>(index),
      static_cast<long>(chainLength(table.chains[index])));
  for (const HashNode *node = table.chains[index]; node; node = node->next) {
    out("    %s\t%lx\n", keyText(table, node->key), static_cast<unsigned long>(node->value));
    if (table.ref_counted) out("    ref_count: %d\n", static_cast<int>(node->ref_count));
  }
}

// --- Sorting ---

struct Sorted {
  ZutWord *keys;
  ZutWord *values;
  int32_t count;
};

int32_t Z_CALL compareTexts(ZutWord a, ZutWord b) { return ZutStrCmpi(textOf(a), textOf(b)); }

// Sinks the pair (key, value) from `hole` in the heap 1..end.
void siftDown(Sorted &pairs, int32_t hole, int32_t end, ZutWord key, ZutWord value,
              ZutHashCompareFunc compare) {
  for (int32_t child = 2 * hole; child <= end; child = 2 * hole) {
    if (child < end && compare(pairs.keys[child], pairs.keys[child + 1]) < 0) ++child;
    if (compare(key, pairs.keys[child]) >= 0) break;
    pairs.keys[hole] = pairs.keys[child];
    pairs.values[hole] = pairs.values[child];
    hole = child;
  }
  pairs.keys[hole] = key;
  pairs.values[hole] = value;
}

// Heapsort of the pairs 0..count-1 by key. The heap is numbered 1..count: pair 0 moves to the end.
void sortPairs(Sorted &pairs, ZutHashCompareFunc compare) {
  const int32_t count = pairs.count;
  if (count < 2) return;
  pairs.keys[count] = pairs.keys[0];
  pairs.values[count] = pairs.values[0];
  for (int32_t i = count / 2; i >= 1; --i)
    siftDown(pairs, i, count, pairs.keys[i], pairs.values[i], compare);
  for (int32_t end = count; end > 1; --end) {
    const ZutWord key = pairs.keys[end];
    const ZutWord value = pairs.values[end];
    pairs.keys[end] = pairs.keys[1];
    pairs.values[end] = pairs.values[1];
    siftDown(pairs, 1, end - 1, key, value, compare);
  }
  std::copy(pairs.keys + 1, pairs.keys + count + 1, pairs.keys);
  std::copy(pairs.values + 1, pairs.values + count + 1, pairs.values);
}

ZutWord *shrink(ZutWord *array, int32_t count) {
  const auto size = static_cast<int32_t>(static_cast<size_t>(count) * sizeof(ZutWord));
  return static_cast<ZutWord *>(Z_REALLOC(array, size, "sort_parm.array"));
}

// The kept pairs in order; count 0 without arrays when there are none.
Sorted sortTable(ZutHashTable &table, ZutHashCompareFunc compare, ZutHashFilterFunc filter) {
  const int32_t room = table.count;
  if (!room) return {};
  Sorted pairs = {utNewArray<ZutWord>(int64_t{room} + 1, "sort_parm.key_array"),
                  utNewArray<ZutWord>(int64_t{room} + 1, "sort_parm.value_array"), 0};
  walk(table, [&](const HashNode *node) {
    if (pairs.count == room) return 0; // the filter inserted entries
    const ZutWord key = node->key;
    const ZutWord value = node->value;
    if (filter && !filter(key, value)) return 0;
    pairs.keys[pairs.count] = key;
    pairs.values[pairs.count++] = value;
    return 0;
  });
  if (!pairs.count) {
    Z_FREE(pairs.keys, "sort_parm.key_array");
    Z_FREE(pairs.values, "sort_parm.value_array");
    return {};
  }
  utCheck(pairs.count <= room);
  sortPairs(pairs, compare ? compare : compareTexts);
  pairs.keys = shrink(pairs.keys, pairs.count);
  pairs.values = shrink(pairs.values, pairs.count);
  return pairs;
}

} // namespace

ZutHashBucket *utHashFind(const ZutHashTable *table, ZutWord key) {
  return bucketOf(find(*table, key).node);
}

extern "C" {

ZutHashTable *Z_CALL ZutHashCreate(int32_t expected, ZutHashFunc hash, ZutHashTestFunc test) {
  ZutSetInitialSbrk();
  return create(expected, hash, test);
}

ZutHashTable *Z_CALL ZutHashCreateInt(int32_t expected) {
  return ZutHashCreate(expected, hashNumber, sameNumber);
}

ZutHashTable *Z_CALL ZutHashCreateStr(int32_t expected) {
  return ZutHashCreate(expected, hashText, sameText);
}

ZutHashTable *Z_CALL ZutHashCreateStri(int32_t expected) {
  return ZutHashCreate(expected, hashWord, sameWord);
}

ZutHashTable *Z_CALL ZutHashCreatePtr(int32_t expected) {
  return ZutHashCreate(expected, hashAddress, sameNumber);
}

int32_t Z_CALL ZutRoundUpToPowerOf2(int32_t n) {
  if (n <= 2) return 2;
  if (n > 1 << 30) {
    utReport<Msg::powerOf2>(Z_TRACE_LEVEL_WARNING, n);
    return 2;
  }
  return static_cast<int32_t>(std::bit_ceil(static_cast<uint32_t>(n)));
}

int32_t Z_CALL ZutHashGetSize(const ZutHashTable *table) { return table->count; }

int32_t Z_CALL ZutHashGetCollisions(const ZutHashTable *table) { return table->collisions; }

int32_t Z_CALL ZutHashGetReferenceCounted(const ZutHashTable *table) { return table->ref_counted; }

int32_t Z_CALL ZutHashSetReferenceCounted(ZutHashTable *table, int32_t flag) {
  if (!table) return utFail(Err::nullPointer);
  if (table->count || (flag != 0 && flag != 1)) return utFail(Err::invalid);
  table->ref_counted = flag;
  return 1;
}

ZutHashFunc Z_CALL ZutHashGetHashFunc(const ZutHashTable *table) { return table->hash; }

ZutHashTestFunc Z_CALL ZutHashGetTestFunc(const ZutHashTable *table) { return table->test; }

ZutWord Z_CALL ZutHashLookup(ZutHashTable *table, ZutWord key) {
  if (!table) return utFail(Err::nullPointer);
  const HashNode *node = find(*table, key).node;
  if (!node) [[unlikely]]
    return utFail(Err::notFound);
  return node->value;
}

ZutWord Z_CALL ZutHashLookupInt(ZutHashTable *table, ZutWord key) {
  return ZutHashLookup(table, key);
}

ZutHashBucket *Z_CALL ZutHashLookupBucket(ZutHashTable *table, ZutWord key) {
  if (!table) return utFailNull(Err::nullPointer);
  HashNode *node = find(*table, key).node;
  return node ? bucketOf(node) : utFailNull(Err::notFound);
}

ZutHashBucket *Z_CALL ZutHashGetFirstBucket(ZutHashTable *table) {
  if (!table) return utFailNull(Err::nullPointer);
  for (int32_t i = 0; i < table->buckets; ++i) {
    if (table->chains[i]) return bucketOf(table->chains[i]);
  }
  return utFailNull(Err::notFound);
}

void Z_CALL ZutHashInsert(ZutHashTable *table, ZutWord key, ZutWord value) {
  const Found found = find(*table, key);
  if (!found.node) add(*table, key, value, found);
  else if (table->ref_counted) ++found.node->ref_count;
  else reportDuplicate(*table, key);
}

ZutWord Z_CALL ZutHashReplace(ZutHashTable *table, ZutWord key, ZutWord value) {
  const Found found = find(*table, key);
  HashNode *node = found.node;
  if (!node) {
    add(*table, key, value, found);
    return 0;
  }
  const ZutWord old = node->value;
  if (table->index) utHashFind(table->index, key)->key = key;
  node->key = key;
  node->value = value;
  node->hash = found.hash; // the caller's test may call keys equal whose hash values differ
  return old;
}

ZutWord Z_CALL ZutHashBucketGetValue(const ZutHashBucket *bucket) { return bucket->value; }

ZutWord Z_CALL ZutHashBucketSetValue(ZutHashBucket *bucket, ZutWord value) {
  const ZutWord old = bucket->value;
  bucket->value = value;
  return old;
}

ZutHashBucket *Z_CALL ZutHashDeleteBucket(ZutHashTable *table, ZutWord key) {
  if (!table) return utFailNull(Err::nullPointer);
  HashNode *node = find(*table, key).node;
  if (!node) return utFailNull(Err::notFound);
  utCheck(node->ref_count > 0);
  if (--node->ref_count) return bucketOf(node);
  auto *copy = utNew<ZutHashBucket>("new_bucket");
  copy->key = node->key;
  copy->value = node->value;
  takeOut(*table, node);
  nodeFree(*table, node);
  return copy;
}

ZutWord Z_CALL ZutHashDelete(ZutHashTable *table, ZutWord key) {
  if (!table) return utFail(Err::nullPointer);
  HashNode *node = find(*table, key).node;
  if (!node) return utFail(Err::notFound);
  const ZutWord value = node->value;
  utCheck(node->ref_count > 0);
  if (!--node->ref_count) {
    takeOut(*table, node);
    nodeFree(*table, node);
  }
  return value;
}

int32_t Z_CALL ZutHashTraverse(ZutHashTable *table, ZutHashTraverseFunc function,
                               ZutWord argument) {
  if (!table || !function) return utFail(Err::nullPointer);
  const int32_t result = walk(*table, [function, argument](const HashNode *node) {
    return function(node->key, node->value, argument);
  });
  return result ? result : utFail(Err::endOfTraversal);
}

void Z_CALL ZutHashReset(ZutHashTable *table, ZutHashDestroyFunc function, ZutWord argument) {
  clear(*table, function, argument);
}

void Z_CALL ZutHashResetFreeKey(ZutHashTable *table) { ZutHashReset(table, freeKey, 0); }

void Z_CALL ZutHashResetFreeValue(ZutHashTable *table) { ZutHashReset(table, freeValue, 0); }

void Z_CALL ZutHashResetFreeKeyValue(ZutHashTable *table) { ZutHashReset(table, freeBoth, 0); }

void Z_CALL ZutHashDestroy(ZutHashTable *table, ZutHashDestroyFunc function, ZutWord argument) {
  if (function) clear(*table, function, argument);
  indexDrop(*table);
  blocksFree(*table);
  Z_FREE(table->chains, "table->buckets");
  Z_FREE(table, "table");
}

void Z_CALL ZutHashDestroyFreeKey(ZutHashTable *table) { ZutHashDestroy(table, freeKey, 0); }

void Z_CALL ZutHashDestroyFreeValue(ZutHashTable *table) { ZutHashDestroy(table, freeValue, 0); }

void Z_CALL ZutHashDestroyFreeKeyValue(ZutHashTable *table) { ZutHashDestroy(table, freeBoth, 0); }

void Z_CALL ZutHashResize(ZutHashTable *table, int32_t n) { grow(*table, n); }

ZutWord *Z_CALL ZutHashSort(ZutHashTable *table, int32_t *count, ZutHashCompareFunc compare,
                            ZutHashFilterFunc filter) {
  const Sorted pairs = sortTable(*table, compare, filter);
  *count = pairs.count;
  Z_FREE(pairs.keys, "sort_parm.key_array");
  return pairs.values;
}

ZutWord *Z_CALL ZutHashSortKeys(ZutHashTable *table, int32_t *count, ZutHashCompareFunc compare,
                                ZutHashFilterFunc filter) {
  const Sorted pairs = sortTable(*table, compare, filter);
  *count = pairs.count;
  Z_FREE(pairs.values, "sort_parm.value_array");
  return pairs.keys;
}

int32_t Z_CALL ZutHashSortTraverse(ZutHashTable *table, ZutHashSortFunc function, ZutWord argument,
                                   ZutHashCompareFunc compare, ZutHashFilterFunc filter) {
  int32_t count;
  ZutWord *values = ZutHashSort(table, &count, compare, filter);
  int32_t result = 0;
  for (int32_t i = 0; i < count && !result; ++i) result = function(values[i], argument);
  Z_FREE(values, "sorted_elements");
  return result;
}

void Z_CALL ZutHashDump(ZutHashTable *table, ZutPrintFunc out) {
  if (!out) out = ZutDebug;
  walkBegin(*table);
  dumpSizes(*table, out);
  for (int32_t i = 0; i < table->buckets; ++i) dumpChain(*table, i, out);
  walkEnd(*table);
}

} // extern "C"
