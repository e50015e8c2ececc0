// Hash tables against std::unordered_map, absl::flat_hash_map, GHashTable and apr_hash.
//
// Look-ups ask in another order than the keys were inserted in, so that a table larger than the
// cache pays for its misses.
#include "support/row.h"
#include "zut.h"

#include <absl/container/flat_hash_map.h>
#include <apr_general.h>
#include <apr_hash.h>
#include <apr_pools.h>
#include <glib.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// --- Keys ---

using Key = ZutWord;

struct Integer {
  static constexpr const char *name = "integer keys";
  // Spread over 31 bits: an odd factor gives each place a number of its own.
  static Key key(uint32_t place) { return static_cast<Key>(place * 2654435761u & 0x7fffffff); }
};

struct Pointer { // to records of 32 bytes, as an allocator lays them out
  static constexpr const char *name = "pointer keys";
  static Key key(uint32_t place) { return static_cast<Key>(0x555500000010) + Key{48} * place; }
};

struct Text { // 16 characters, different near their end
  static constexpr const char *name = "string keys";
  static std::string key(uint32_t place) {
    char text[32];
    std::snprintf(text, sizeof text, "/node/%010u", place);
    return text;
  }
};

// The keys of the places from `first` on, in an order of their own.
template <class Kind>
const auto &keys(uint32_t first, size_t count, unsigned order) {
  using K = decltype(Kind::key(0));
  static std::map<std::tuple<uint32_t, size_t, unsigned>, std::vector<K>> made;
  std::vector<K> &list = made[{first, count, order}];
  if (!list.empty()) return list;
  std::vector<uint32_t> places(count);
  std::iota(places.begin(), places.end(), first);
  std::shuffle(places.begin(), places.end(), std::mt19937(order));
  for (uint32_t place : places) list.push_back(Kind::key(place));
  return list;
}

// --- Tables: put, get (0: absent), drop ---

template <auto Create>
struct Ours {
  ZutHashTable *table = Create(0);
  ~Ours() { ZutHashDestroy(table, nullptr, 0); }
  static Key word(Key key) { return key; }
  static Key word(const std::string &key) { return reinterpret_cast<Key>(key.c_str()); }
  void put(const auto &key) { ZutHashInsert(table, word(key), 1); }
  Key get(const auto &key) { return ZutHashLookup(table, word(key)); }
  void drop(const auto &key) { ZutHashDelete(table, word(key)); }
};

template <class Map>
struct Cpp {
  Map table;
  void put(const auto &key) { table.emplace(key, 1); }
  Key get(const auto &key) {
    const auto found = table.find(key);
    return found == table.end() ? 0 : found->second;
  }
  void drop(const auto &key) { table.erase(key); }
};

template <auto Hash, auto Same>
struct Glib {
  GHashTable *table = g_hash_table_new(Hash, Same);
  ~Glib() { g_hash_table_destroy(table); }
  static void *word(Key key) { return reinterpret_cast<void *>(key); }
  static void *word(const std::string &key) { return const_cast<char *>(key.c_str()); }
  void put(const auto &key) { g_hash_table_insert(table, word(key), GINT_TO_POINTER(1)); }
  Key get(const auto &key) { return reinterpret_cast<Key>(g_hash_table_lookup(table, word(key))); }
  void drop(const auto &key) { g_hash_table_remove(table, word(key)); }
};

apr_pool_t *newPool() {
  [[maybe_unused]] static const apr_status_t ready = apr_initialize();
  apr_pool_t *pool = nullptr;
  apr_pool_create(&pool, nullptr);
  return pool;
}

// Keeps the addresses of its keys.
struct Apr {
  apr_pool_t *pool = newPool();
  apr_hash_t *table = apr_hash_make(pool);
  ~Apr() { apr_pool_destroy(pool); }
  static const void *address(const Key &key) { return &key; }
  static const void *address(const std::string &key) { return key.c_str(); }
  static apr_ssize_t length(Key) { return sizeof(Key); }
  static apr_ssize_t length(const std::string &key) { return static_cast<apr_ssize_t>(key.size()); }
  void put(const auto &key) { apr_hash_set(table, address(key), length(key), GINT_TO_POINTER(1)); }
  Key get(const auto &key) {
    return reinterpret_cast<Key>(apr_hash_get(table, address(key), length(key)));
  }
  void drop(const auto &key) { apr_hash_set(table, address(key), length(key), nullptr); }
};

// --- The work ---

template <class Table>
void fill(Table &table, const auto &list) {
  for (const auto &key : list) table.put(key);
}

template <class Table, class Kind>
Table &filled(size_t count) {
  static std::map<size_t, Table> tables;
  const auto [place, fresh] = tables.try_emplace(count);
  if (fresh) fill(place->second, keys<Kind>(0, count, 7));
  return place->second;
}

// Asks for one key after the other of the `count` from place `first` on.
template <class Table, class Kind>
Row::Function lookUp(size_t count, uint32_t first) {
  return [count, first](benchmark::State &state) {
    Table &table = filled<Table, Kind>(count);
    const auto &asked = keys<Kind>(first, count, 11);
    size_t at = 0;
    for (auto _ : state) {
      benchmark::DoNotOptimize(table.get(asked[at]));
      if (++at == asked.size()) at = 0;
    }
  };
}

template <class Table>
Row::Function insert(size_t count) {
  return [count](benchmark::State &state) {
    const auto &list = keys<Integer>(0, count, 7);
    for (auto _ : state) {
      auto table = std::make_unique<Table>();
      fill(*table, list);
      benchmark::ClobberMemory();
      state.PauseTiming();
      table.reset();
      state.ResumeTiming();
    }
  };
}

template <class Table>
Row::Function deleteAll(size_t count) {
  return [count](benchmark::State &state) {
    const auto &list = keys<Integer>(0, count, 7);
    for (auto _ : state) {
      state.PauseTiming();
      auto table = std::make_unique<Table>();
      fill(*table, list);
      state.ResumeTiming();
      for (Key key : list) table->drop(key);
      benchmark::ClobberMemory();
      state.PauseTiming();
      table.reset();
      state.ResumeTiming();
    }
  };
}

using OursInteger = Ours<ZutHashCreateInt>;
using StdNumber = Cpp<std::unordered_map<Key, Key>>;
using AbslNumber = Cpp<absl::flat_hash_map<Key, Key>>;
using GlibNumber = Glib<g_direct_hash, nullptr>;
using StdText = Cpp<std::unordered_map<std::string, Key>>;
using AbslText = Cpp<absl::flat_hash_map<std::string, Key>>;
using GlibText = Glib<g_str_hash, g_str_equal>;

template <class Kind, class Our, class Std, class Absl, class G>
void addLookUp(const std::string &what, const char *size, size_t count, uint32_t first) {
  Row("hash: look-up " + what + ", " + Kind::name, size)
      .ours(lookUp<Our, Kind>(count, first))
      .peer("std::unordered_map", lookUp<Std, Kind>(count, first))
      .peer("absl::flat_hash_map", lookUp<Absl, Kind>(count, first))
      .peer("GHashTable", lookUp<G, Kind>(count, first))
      .peer("apr_hash", lookUp<Apr, Kind>(count, first));
}

template <class Kind, class Our>
void addNumbers(const char *size, size_t count) {
  constexpr auto add = addLookUp<Kind, Our, StdNumber, AbslNumber, GlibNumber>;
  add("hit", size, count, 0);
  add("miss", size, count, static_cast<uint32_t>(count));
}

} // namespace

void addRows() {
  constexpr struct {
    const char *name;
    size_t count;
  } sizes[] = {{"1e3", 1000}, {"1e5", 100000}, {"1e6", 1000000}};
  for (const auto &[size, count] : sizes) {
    addNumbers<Integer, OursInteger>(size, count);
    addNumbers<Pointer, Ours<ZutHashCreatePtr>>(size, count);
    addLookUp<Text, Ours<ZutHashCreateStr>, StdText, AbslText, GlibText>("hit", size, count, 0);
    Row("hash: insert", size)
        .ours(insert<OursInteger>(count))
        .peer("std::unordered_map", insert<StdNumber>(count))
        .peer("absl::flat_hash_map", insert<AbslNumber>(count))
        .peer("GHashTable", insert<GlibNumber>(count))
        .peer("apr_hash", insert<Apr>(count));
  }
  Row("hash: delete all", "1e5")
      .ours(deleteAll<OursInteger>(100000))
      .peer("std::unordered_map", deleteAll<StdNumber>(100000))
      .peer("absl::flat_hash_map", deleteAll<AbslNumber>(100000))
      .peer("GHashTable", deleteAll<GlibNumber>(100000))
      .peer("apr_hash", deleteAll<Apr>(100000));
}
