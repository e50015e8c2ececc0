// The vertices of a graph by name: open addressing with linear probing. Invariants: at most three
// quarters of the places are used; between the home of a name and its place no place is free.
#include "containers/observed/graphnames.h"

#include "base/check.h"
#include "base/memory.h"

#include <bit>

namespace {

constexpr uint32_t Z_PLACES_MIN = 16;

void grow(GraphNames &names) {
  const GraphNames old = names;
  const uint32_t places = old.places ? (old.mask + 1) * 2 : Z_PLACES_MIN;
  names.places = utNewArray<GraphName>(places, "names");
  names.mask = places - 1;
  names.shift = 64 - std::countr_zero(places);
  utCheck(std::has_single_bit(places) && names.count < places);
  for (uint32_t i = 0; old.places && i <= old.mask; ++i) {
    const GraphName &entry = old.places[i];
    if (entry.name) names.places[utGraphNamePlace(names, entry.name)] = entry;
  }
  Z_FREE(old.places, "names");
}

} // namespace

void utGraphNameAdd(GraphNames &names, const char *name, GraphVertex *vertex) {
  if (!names.places || names.count > names.mask / 4 * 3) grow(names);
  GraphName &place = names.places[utGraphNamePlace(names, name)];
  utCheck(!place.name);
  place = {name, vertex};
  ++names.count;
}

// Later entries of the probe sequence move into the gap, unless their home lies after the gap.
void utGraphNameRemove(GraphNames &names, const char *name) {
  uint32_t gap = utGraphNamePlace(names, name);
  utCheck(names.places[gap].name == name && names.count); // the name is there
  for (uint32_t place = (gap + 1) & names.mask; names.places[place].name;
       place = (place + 1) & names.mask) {
    const uint32_t home = utGraphNameHome(names, names.places[place].name);
    if (((place - home) & names.mask) < ((place - gap) & names.mask)) continue;
    names.places[gap] = names.places[place];
    gap = place;
  }
  names.places[gap] = {};
  --names.count;
}
