// Message catalogs against lines kept in a GHashTable and against catgets.
#include "support/row.h"
#include "zut.h"

#include <glib.h>
#include <nl_types.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace {

constexpr int messages = 5000; // half of what a catalog expects
constexpr int firstNumber = 100001;

// The texts of both catalogs: with their numbers, as the library prints them.
std::string line(int message) {
  return "BEN-CH-" + std::to_string(firstNumber + message) +
         "-I The connection to node %s was closed after message number %ld.";
}

// Every seventh message, so that neighbours are not asked for in turn.
int nextMessage(int &at) { return at = (at + 7) % messages; }

const char *catalogFile(const char *name) {
  std::ofstream file(name);
  for (int i = 0; i < messages; ++i) file << line(i) << '\n';
  return name;
}

nl_catd peerCatalog() {
  static const nl_catd catalog = [] {
    std::ofstream file("peer.msg");
    file << "$set 1\n";
    for (int i = 0; i < messages; ++i) file << i + 1 << ' ' << line(i) << "\\n\n";
    file.close();
    if (std::system("gencat ./peer.cat peer.msg") != 0) throw std::runtime_error("gencat failed");
    return catopen("./peer.cat", 0);
  }();
  return catalog;
}

// --- Load ---

// From a file of its own: one that another catalog holds is not read again.
void loadOurs(benchmark::State &state) {
  const char *name = catalogFile("load.cat");
  for (auto _ : state) {
    ZutCatalog *catalog = ZutCatCreate(name);
    ZutCatDestroy(catalog);
  }
}

void loadGlib(benchmark::State &state) {
  const char *name = catalogFile("load.cat");
  for (auto _ : state) {
    GHashTable *table = g_hash_table_new_full(g_direct_hash, nullptr, nullptr, g_free);
    std::FILE *file = std::fopen(name, "r");
    char line[1024];
    while (std::fgets(line, sizeof line, file)) {
      const int number = std::atoi(line + sizeof "BEN-CH");
      g_hash_table_insert(table, GINT_TO_POINTER(number), g_strdup(line));
    }
    std::fclose(file);
    g_hash_table_destroy(table);
  }
}

// --- Look up ---

void lookUpOurs(benchmark::State &state) {
  ZutCatalog *catalog = ZutCatCreate(catalogFile("ours.cat"));
  int at = 0;
  for (auto _ : state) {
    const char *found = nullptr;
    ZutCatGetStr(catalog, firstNumber + nextMessage(at), &found);
    benchmark::DoNotOptimize(found);
  }
  ZutCatDestroy(catalog);
}

void lookUpCatgets(benchmark::State &state) {
  const nl_catd catalog = peerCatalog();
  int at = 0;
  for (auto _ : state) benchmark::DoNotOptimize(catgets(catalog, 1, 1 + nextMessage(at), nullptr));
}

// --- Print: both into this ---

char printed[512];

int32_t Z_CALL print(const char *format, va_list args) {
  return std::vsnprintf(printed, sizeof printed, format, args);
}

void printOurs(benchmark::State &state) {
  ZutOutInit();
  ZutOptionSetStr(ZutOptionLookup("catalog_file"), catalogFile("ours.cat"));
  ZutSetOutputFunc(print);
  int at = 0;
  for (auto _ : state) {
    ZutOutCat(Z_TRACE_LEVEL_INFO, firstNumber + nextMessage(at), "alpha", 42L);
    benchmark::DoNotOptimize(printed);
  }
  ZutSetOutputFunc(nullptr);
}

void printCatgets(benchmark::State &state) {
  const nl_catd catalog = peerCatalog();
  int at = 0;
  for (auto _ : state) {
    const char *format = catgets(catalog, 1, 1 + nextMessage(at), nullptr);
    std::snprintf(printed, sizeof printed, format, "alpha", 42L);
    benchmark::DoNotOptimize(printed);
  }
}

} // namespace

void addRows() {
  Row("catalog", "load").ours(loadOurs).peer("lines into GHashTable", loadGlib);
  Row("catalog", "look up").ours(lookUpOurs).peer("catgets", lookUpCatgets);
  Row("catalog", "print").ours(printOurs).peer("catgets, snprintf", printCatgets);
}
