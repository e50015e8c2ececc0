// Catalog files: what was read from a file, shared by the catalogs that name it.
#pragma once

#include "zut.h"

#include <atomic>

// Whether a message's text may be formatted with its arguments: decided at the first printing.
enum class CatVerdict : uint8_t { unknown, agrees, differs };

// Whose arguments they are: the library's, of the kinds in its table, or a program's, of kinds that
// only the program knows. A program's catalog may use the library's numbers for texts of its own.
enum class CatArguments : uint8_t { library, program };

// One message. Its texts follow it in the same block.
struct CatMessage {
  ZutCatMsgKey key;
  std::atomic<CatVerdict> verdicts[2]; // by CatArguments
};

struct CatBlock; // storage of messages, catfile.cpp

// All under the process mutex, except that the table of a file that was read never changes.
struct ZutCatalogFile {
  ZutDqNode links;
  ZutHashTable *table; // number to CatMessage
  int32_t refcount;    // to the file; at 0 it leaves the list
  int32_t present;     // found to exist
  char *filename;
  int32_t pins; // of catalogs that still point at it: the memory stays
  CatBlock *blocks;
};

// One reference: to a file in the list, or to one read now. Null when it cannot be read.
ZutCatalogFile *utCatFileShare(const char *filename);
// Releases the reference.
void utCatFileRelease(ZutCatalogFile *file);
// Keep the memory of a file though its last reference is released, and let it go again.
void utCatFilePin(ZutCatalogFile *file);
void utCatFileUnpin(ZutCatalogFile *file);
