// The vertices of a graph by name: open addressing, so that most look-ups read one place.
#pragma once

#include "zut.h"

struct GraphVertex;

struct GraphName {
  const char *name; // null: a free place
  GraphVertex *vertex;
};

struct GraphNames {
  GraphName *places; // null before the first name
  uint32_t mask;     // number of places - 1
  uint32_t count;
  int32_t shift; // leaves as many bits of a hash as the mask has
};

// The home of a name: where its search begins. The upper bits of the product depend on the whole
// address.
inline uint32_t utGraphNameHome(const GraphNames &names, const char *name) {
  const auto word = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(name));
  return static_cast<uint32_t>((word * 0x9E3779B97F4A7C15U) >> names.shift);
}

// The place of a name, or the free place where its search ends.
inline uint32_t utGraphNamePlace(const GraphNames &names, const char *name) {
  uint32_t place = utGraphNameHome(names, name);
  while (names.places[place].name && names.places[place].name != name)
    place = (place + 1) & names.mask;
  return place;
}

// The vertex of a name, or null.
inline GraphVertex *utGraphNameFind(const GraphNames &names, const char *name) {
  return names.places ? names.places[utGraphNamePlace(names, name)].vertex : nullptr;
}

// For a name that is not there, and one that is.
void utGraphNameAdd(GraphNames &names, const char *name, GraphVertex *vertex);
void utGraphNameRemove(GraphNames &names, const char *name);
