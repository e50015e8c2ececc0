// Shortest paths of a graph: Dijkstra's algorithm over packed arcs, with a 4-ary heap.
//
// The next vertex is the nearest one that is not final, among equally near ones the oldest. One at
// distance 0 is never chosen, and unreachable ones come last. No step depends on weights being
// positive: a vertex becomes final at most once.
#include "containers/observed/graphpath.h"

#include "base/check.h"
#include "base/memory.h"

#include <algorithm>

namespace {

constexpr uint32_t Z_NONE = UINT32_MAX; // no slot, and beyond every place in the heap
// Places of vertices that are not in the heap.
constexpr uint32_t Z_PLACE_FINAL = Z_NONE - 1, Z_PLACE_OUT = Z_NONE;
// First hops during their search.
constexpr uint32_t Z_HOP_UNKNOWN = Z_NONE - 1, Z_HOP_ASKED = Z_NONE - 2;
constexpr uint32_t Z_CHILDREN = 4;

// What is known of a vertex, by slot.
struct Spot {
  int32_t distance;
  uint32_t predecessor;
  uint32_t place;
  uint32_t hop;
};

// A heap entry has the distance in its upper and the slot in its lower half: one comparison orders
// by both. The entries past the last one are the largest number, so that every entry appears to
// have four children.
struct Search {
  const ZutGraph &graph;
  Spot *spots;
  uint64_t *heap;
  uint32_t size;
  uint32_t rest; // below this slot no unreached vertex is left
};

uint64_t entryOf(int32_t distance, uint32_t slot) {
  const uint32_t ordered = static_cast<uint32_t>(distance) ^ 0x80000000U; // as unsigned numbers
  return uint64_t{ordered} << 32 | slot;
}

uint32_t slotOf(uint64_t entry) { return static_cast<uint32_t>(entry); }

void put(Search &search, uint32_t place, uint64_t entry) {
  search.heap[place] = entry;
  search.spots[slotOf(entry)].place = place;
}

void rise(Search &search, uint32_t place, uint64_t entry) {
  utCheck(place < search.size && search.size <= search.graph.slotTop);
  while (place) {
    const uint32_t parent = (place - 1) / Z_CHILDREN;
    if (search.heap[parent] < entry) break;
    put(search, place, search.heap[parent]);
    place = parent;
  }
  put(search, place, entry);
}

uint32_t leastChild(const uint64_t *heap, uint32_t first) {
  const uint32_t a = first + (heap[first + 1] < heap[first]);
  const uint32_t b = first + 2 + (heap[first + 3] < heap[first + 2]);
  return heap[b] < heap[a] ? b : a;
}

uint32_t takeLeast(Search &search) {
  const uint32_t least = slotOf(search.heap[0]);
  utCheck(search.spots[least].place == 0);
  const uint64_t entry = search.heap[--search.size]; // finds a place from the top down
  search.heap[search.size] = UINT64_MAX;
  if (!search.size) return least;
  uint32_t place = 0;
  for (uint32_t first = 1; first < search.size; first = place * Z_CHILDREN + 1) {
    const uint32_t child = leastChild(search.heap, first);
    if (entry < search.heap[child]) break;
    put(search, place, search.heap[child]);
    place = child;
  }
  put(search, place, entry);
  return least;
}

template <bool Weighted>
void relax(Search &search, uint32_t current) {
  const GraphVertex &vertex = *search.graph.slots[current];
  const int64_t distance = search.spots[current].distance;
  for (const GraphArc *arc = vertex.arcs; arc != vertex.arcs + vertex.degree; ++arc) {
    Spot &target = search.spots[arc->slot];
    const int64_t sum = std::max<int64_t>(distance + (Weighted ? arc->weight : 1), INT32_MIN);
    if (sum >= target.distance) continue;
    target.distance = static_cast<int32_t>(sum);
    target.predecessor = current;
    if (target.place == Z_PLACE_FINAL) continue;
    if (target.place == Z_PLACE_OUT) target.place = search.size++;
    rise(search, target.place, entryOf(target.distance, arc->slot));
  }
}

uint32_t choose(Search &search) {
  while (search.size) {
    const uint32_t slot = takeLeast(search);
    if (search.spots[slot].distance != 0) return slot;
    search.spots[slot].place = Z_PLACE_OUT;
  }
  while (search.rest < search.graph.slotTop) {
    const uint32_t slot = search.rest++;
    const Spot &spot = search.spots[slot];
    if (search.graph.slots[slot] && spot.place == Z_PLACE_OUT && spot.distance == Z_GRAPH_INFINITE)
      return slot;
  }
  return Z_NONE;
}

template <bool Weighted>
void run(Search &search, uint32_t origin) {
  for (uint32_t current = origin; current != Z_NONE; current = choose(search)) {
    utCheck(search.graph.slots[current] && search.spots[current].place != Z_PLACE_FINAL);
    search.spots[current].place = Z_PLACE_FINAL;
    relax<Weighted>(search, current);
  }
}

// The first vertex after the origin on the path to each slot: known for direct neighbours, found
// through the predecessors for the others. With weights below 1 predecessors may form a cycle, or
// not lead to the origin.
void findHops(Spot *spots, uint32_t slots, uint32_t origin) {
  for (uint32_t i = 0; i < slots; ++i) {
    const uint32_t before = spots[i].predecessor;
    spots[i].hop = before == origin ? i : before == Z_NONE ? Z_NONE : Z_HOP_UNKNOWN;
  }
  for (uint32_t i = 0; i < slots; ++i) {
    uint32_t at = i;
    for (; spots[at].hop == Z_HOP_UNKNOWN; at = spots[at].predecessor) spots[at].hop = Z_HOP_ASKED;
    const uint32_t hop = spots[at].hop == Z_HOP_ASKED ? Z_NONE : spots[at].hop;
    for (at = i; spots[at].hop == Z_HOP_ASKED; at = spots[at].predecessor) spots[at].hop = hop;
  }
  spots[origin].hop = Z_NONE;
}

void store(const ZutGraph &graph, const Spot *spots) {
  const auto vertexAt = [&](uint32_t slot) { return slot == Z_NONE ? nullptr : graph.slots[slot]; };
  for (uint32_t i = 0; i < graph.slotTop; ++i) {
    GraphVertex *vertex = graph.slots[i];
    if (!vertex) continue;
    vertex->distance = spots[i].distance;
    vertex->perm = spots[i].place == Z_PLACE_FINAL;
    vertex->path_predecessor = vertexAt(spots[i].predecessor);
    vertex->first_hop = vertexAt(spots[i].hop);
  }
}

} // namespace

void utGraphSearch(const ZutGraph &graph, const GraphVertex &origin) {
  const uint32_t slots = graph.slotTop;
  Search search = {graph, utNewArray<Spot>(slots, "spots"),
                   utNewArray<uint64_t>(int64_t{slots} + Z_CHILDREN, "heap"), 0, 0};
  std::fill_n(search.spots, slots, Spot{Z_GRAPH_INFINITE, Z_NONE, Z_PLACE_OUT, Z_NONE});
  std::fill_n(search.heap, slots + Z_CHILDREN, UINT64_MAX);
  search.spots[origin.slot].distance = 0;
  if (graph.weightedEdges) run<true>(search, origin.slot);
  else run<false>(search, origin.slot);
  findHops(search.spots, slots, origin.slot);
  store(graph, search.spots);
  Z_FREE(search.heap, "heap");
  Z_FREE(search.spots, "spots");
}
