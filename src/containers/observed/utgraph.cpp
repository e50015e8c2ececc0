// Weighted graphs: vertices and edges, their look-up, and the notices of their changes.
//
// Invariants: each vertex has a slot, and newer vertices have higher slots. Each edge is in the
// list of its source's edges, in its source's arcs (packed, for searches) and, from the first
// removal of a vertex on, in the array of its target's incoming edges. There is at most one edge
// from one vertex to another. Predecessors, first hops and the origin are vertices of the graph.
//
// A notice runs callers' functions, which may change the graph, so what was read before a notice
// may be out of date. Therefore removed records stay allocated and marked until the outermost
// operation ends, and the loops below read the graph again in each iteration.
//
// No lock: the owner of a graph has one.
#include "containers/observed/utgraph.h"

#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"
#include "base/processlock.h"
#include "callback/cbtype.h"
#include "containers/hash.h"
#include "containers/observed/graphpath.h"

#include <algorithm>

namespace {

// A vertex with more edges than this finds them through a table.
constexpr uint32_t Z_SCAN_MAX = 16;
constexpr uint32_t Z_SLOTS_MIN = 16;
constexpr uint32_t Z_ARCS_MIN = 8;
// Records of a new block: as many as the graph has, within these bounds.
constexpr int64_t Z_BLOCK_MIN = 8, Z_BLOCK_MAX = 1024;
constexpr size_t Z_LINE = 64; // of the processor's cache

ZutWord keyOf(const void *record) { return reinterpret_cast<ZutWord>(record); }

bool isRemoved(const GraphEdge &edge) { return edge.place == Z_NO_PLACE; }

GraphEdge &edgeOf(ZutGraphEdge *edge) { return *static_cast<GraphEdge *>(edge); }

// Doubles the capacity; the first one is `least`.
template <class T>
void grow(T *&array, uint32_t &capacity, uint32_t least, const char *what) {
  capacity = std::max(capacity * 2, least);
  const auto size = std::min<uint64_t>(uint64_t{capacity} * sizeof(T), UINT32_MAX); // -1 is refused
  array = static_cast<T *>(Z_REALLOC(array, static_cast<int32_t>(size), what));
}

// --- Records ---

// The part of a vertex that look-ups read, from `edges` on, lies in one cache line, and so does a
// whole edge. A layout is the distance of records and the offset where a line begins in them.
struct Layout {
  size_t stride;
  size_t lineAt;
};
constexpr size_t inLines(size_t size) { return (size + Z_LINE - 1) / Z_LINE * Z_LINE; }
constexpr Layout vertexLayout = {inLines(sizeof(GraphVertex)),
                                 sizeof(ZutGraphVertex) - sizeof(ZutGraphEdge *)};
constexpr Layout edgeLayout = {inLines(sizeof(GraphEdge)), 0};

void blockAdd(GraphStore &store, const Layout &layout, int64_t used, const char *what) {
  const int64_t count = std::clamp(used, Z_BLOCK_MIN, Z_BLOCK_MAX);
  const auto size = static_cast<size_t>(count) * layout.stride;
  auto *block = static_cast<GraphBlock *>(
      utNewBlock(static_cast<int64_t>(size + 2 * Z_LINE), 1, what, __FILE__, __LINE__));
  block->next = store.blocks;
  store.blocks = block;
  const auto line = inLines(reinterpret_cast<uintptr_t>(block + 1) + layout.lineAt);
  store.fresh = reinterpret_cast<uint8_t *>(line - layout.lineAt);
  store.freshEnd = store.fresh + size;
  utCheck(reinterpret_cast<uintptr_t>(store.freshEnd) <=
          reinterpret_cast<uintptr_t>(block) + size + 2 * Z_LINE);
}

// A zero-filled record: the first of the free ones, linked by next, or a fresh one.
template <class Record, class Public>
Record *recordNew(Public *&free, GraphStore &store, const Layout &layout, int64_t used,
                  const char *what) {
  if (Public *old = free) {
    free = old->next;
    auto *record = static_cast<Record *>(old);
    *record = {};
    return record;
  }
  if (store.fresh == store.freshEnd) blockAdd(store, layout, used, what);
  auto *record = reinterpret_cast<Record *>(store.fresh);
  store.fresh += layout.stride;
  return record;
}

template <class Public>
void recordFree(Public *&free, Public *record) {
  record->next = free;
  free = record;
}

void blocksFree(GraphStore &store, const char *what) {
  while (GraphBlock *block = store.blocks) {
    store.blocks = block->next;
    Z_FREE(block, what);
  }
}

GraphEdge *edgeNew(ZutGraph &graph) {
  return recordNew<GraphEdge>(graph.freeEdges, graph.edgeStore, edgeLayout, graph.edgeCount,
                              "edge");
}

GraphVertex *vertexNew(ZutGraph &graph) {
  return recordNew<GraphVertex>(graph.freeVertices, graph.vertexStore, vertexLayout,
                                graph.vertexCount, "vertex");
}

// Frees what a vertex owns besides its record.
void arraysFree(GraphVertex &vertex) {
  if (vertex.targets) ZutHashDestroy(vertex.targets, nullptr, 0);
  Z_FREE(vertex.arcs, "arcs");
  Z_FREE(vertex.in, "in");
}

// --- Notices ---

std::atomic<ZutCbType *> changeType; // set when found: types live until the process ends
std::atomic<uint32_t> typesWithout;  // how many types there were when it was not found

// The type of the notices, or null without an error number.
ZutCbType *findChangeType() {
  if (ZutCbType *type = changeType.load(std::memory_order_acquire)) return type;
  const uint32_t types = utCbTypesMade.load(std::memory_order_acquire);
  if (types == typesWithout.load(std::memory_order_relaxed)) return nullptr;
  const Err before = utErrGet();
  ZutCbType *type = ZutCbTypeNumLookup(Z_CB_TYPE_GRAPH_CHANGE);
  if (type) {
    changeType.store(type, std::memory_order_release);
  } else {
    typesWithout.store(types, std::memory_order_relaxed);
    utErrSet(before);
  }
  return type;
}

ZutCbType *makeChangeType() {
  const ProcessGuard guard;
  if (ZutCbType *type = findChangeType()) return type;
  ZutCbType *type = ZutCbTypeCreate(Z_CB_TYPE_GRAPH_CHANGE, "srv_graph_change");
  ZutCbTypeSetGlobFlag(type, Z_CB_NO_GLOBALS);
  return type;
}

// The type if it has callbacks, of this graph or another; else null.
ZutCbType *findUsedType() {
  ZutCbType *type = findChangeType();
  return type && utCbTypeHasCallbacks(*type) ? type : nullptr;
}

void notify(ZutGraph &graph, int32_t added, ZutGraphVertex *vertex, ZutGraphEdge *edge) {
  ZutCbType *type = findUsedType();
  if (!type) return;
  ZutGraphChangeData data = {nullptr, added, vertex, edge};
  ZutCbTypeCall(type, &graph, &data);
}

void callbacksClear(ZutGraph &graph) {
  const Err before = utErrGet();
  if (ZutCbType *type = findChangeType()) ZutCbObjClear(type, &graph);
  utErrSet(before); // having none is no failure
}

// Around every operation that sends notices. No guard: a callback may end the thread.
void begin(ZutGraph &graph) { ++graph.depth; }

void end(ZutGraph &graph) {
  utCheck(graph.depth > 0);
  if (--graph.depth) return;
  while (ZutGraphEdge *edge = graph.deadEdges) {
    utCheck(isRemoved(edgeOf(edge)));
    graph.deadEdges = edge->next;
    recordFree(graph.freeEdges, edge);
  }
  while (ZutGraphVertex *dead = graph.deadVertices) {
    utCheck(!utGraphVertex(dead).graph && !utGraphVertex(dead).degree);
    graph.deadVertices = dead->next;
    arraysFree(utGraphVertex(dead));
    recordFree(graph.freeVertices, dead);
  }
}

// --- Look-up ---

bool owns(const ZutGraph &graph, const GraphVertex &vertex) { return vertex.graph == &graph; }

bool usable(const ZutGraph &graph, const GraphVertex &vertex) {
  return owns(graph, vertex) && !vertex.leaving;
}

bool usable(const ZutGraph &graph, const GraphEdge &edge) {
  return !isRemoved(edge) && owns(graph, utGraphVertex(edge.from));
}

// The edge between two vertices of the graph, or null.
GraphEdge *findEdge(const GraphVertex &from, const GraphVertex &to) {
  if (from.targets) return utHashGet<GraphEdge>(from.targets, keyOf(&to));
  for (uint32_t i = 0; i < from.degree; ++i) {
    if (from.arcs[i].slot == to.slot) return from.arcs[i].edge;
  }
  return nullptr;
}

// The other edge of a pair, or null. `reverse` may point to an edge that was removed, so it is
// compared before it is followed.
GraphEdge *partnerOf(const GraphEdge &edge) {
  if (!edge.reverse) return nullptr;
  GraphEdge *partner = findEdge(utGraphVertex(edge.to), utGraphVertex(edge.from));
  return partner == edge.reverse && partner->reverse == &edge ? partner : nullptr;
}

// --- Slots ---

// Closes the gaps that removed vertices left.
void slotsCompact(ZutGraph &graph) {
  uint32_t top = 0;
  for (uint32_t i = 0; i < graph.slotTop; ++i) {
    GraphVertex *vertex = graph.slots[i];
    if (!vertex) continue;
    graph.slots[top] = vertex;
    vertex->slot = top++;
  }
  graph.slotTop = top;
  utCheck(top <= static_cast<uint32_t>(graph.vertexCount));
  for (uint32_t i = 0; i < top; ++i) {
    const GraphVertex &vertex = *graph.slots[i];
    for (uint32_t k = 0; k < vertex.degree; ++k)
      vertex.arcs[k].slot = utGraphVertex(vertex.arcs[k].edge->to).slot;
  }
}

void slotTake(ZutGraph &graph, GraphVertex &vertex) {
  if (graph.slotTop == graph.slotCapacity) {
    if (static_cast<uint32_t>(graph.vertexCount) < graph.slotCapacity / 2) {
      slotsCompact(graph);
    } else {
      grow(graph.slots, graph.slotCapacity, Z_SLOTS_MIN, "slots");
    }
  }
  utCheck(graph.slotTop < graph.slotCapacity);
  vertex.slot = graph.slotTop;
  graph.slots[graph.slotTop++] = &vertex;
}

// --- Edges ---

void arcAdd(GraphVertex &from, GraphEdge &edge) {
  if (from.degree == from.arcCapacity) grow(from.arcs, from.arcCapacity, Z_ARCS_MIN, "arcs");
  utCheck(from.degree < from.arcCapacity);
  edge.place = from.degree;
  from.arcs[from.degree++] = {utGraphVertex(edge.to).slot, edge.weight, &edge};
  if (from.targets) {
    ZutHashInsert(from.targets, keyOf(edge.to), keyOf(&edge));
  } else if (from.degree > Z_SCAN_MAX) {
    from.targets = ZutHashCreatePtr(2 * static_cast<int32_t>(Z_SCAN_MAX));
    for (uint32_t i = 0; i < from.degree; ++i)
      ZutHashInsert(from.targets, keyOf(from.arcs[i].edge->to), keyOf(from.arcs[i].edge));
  }
}

void arcRemove(GraphVertex &from, const GraphEdge &edge) {
  utCheck(edge.place < from.degree && from.arcs[edge.place].edge == &edge);
  const GraphArc last = from.arcs[--from.degree];
  from.arcs[edge.place] = last;
  last.edge->place = edge.place;
  if (from.targets) ZutHashDelete(from.targets, keyOf(edge.to));
}

void inAdd(GraphEdge &edge) {
  GraphVertex &to = utGraphVertex(edge.to);
  if (to.inDegree == to.inCapacity) grow(to.in, to.inCapacity, Z_ARCS_MIN, "in");
  utCheck(to.inDegree < to.inCapacity);
  edge.inPlace = to.inDegree;
  to.in[to.inDegree++] = &edge;
}

void inRemove(const GraphEdge &edge) {
  GraphVertex &to = utGraphVertex(edge.to);
  utCheck(edge.inPlace < to.inDegree && to.in[edge.inPlace] == &edge);
  GraphEdge *last = to.in[--to.inDegree];
  to.in[edge.inPlace] = last;
  last->inPlace = edge.inPlace;
}

// A graph that only grows does not need these arrays.
void inKeep(ZutGraph &graph) {
  if (graph.keepsIn) return;
  graph.keepsIn = true;
  for (ZutGraphVertex *vertex = graph.vertices; vertex; vertex = vertex->next) {
    for (ZutGraphEdge *edge = vertex->edges; edge; edge = edge->next) inAdd(edgeOf(edge));
  }
}

void edgeLink(ZutGraph &graph, GraphVertex &from, GraphEdge &edge) {
  edge.next = from.edges;
  if (from.edges) from.edges->prev = &edge;
  from.edges = &edge;
  arcAdd(from, edge);
  if (graph.keepsIn) inAdd(edge);
  ++graph.edgeCount;
}

void edgeUnlink(ZutGraph &graph, GraphVertex &from, GraphEdge &edge) {
  (edge.prev ? edge.prev->next : from.edges) = edge.next;
  if (edge.next) edge.next->prev = edge.prev;
  arcRemove(from, edge);
  if (graph.keepsIn) inRemove(edge);
  utCheck(graph.edgeCount > 0);
  --graph.edgeCount;
}

// Null when there is an edge already, or when a callback has removed the new one.
GraphEdge *edgeAdd(ZutGraph &graph, GraphVertex &from, GraphVertex &to, ZutWord data,
                   int32_t weight) {
  if (graph.destroying) return utFailNull(Err::objectInUse);
  if (!usable(graph, from) || !usable(graph, to)) return utFailNull(Err::notFound);
  if (findEdge(from, to)) return utFailNull(Err::exists);
  GraphEdge *edge = edgeNew(graph);
  edge->data = data;
  edge->weight = weight;
  edge->from = &from;
  edge->to = &to;
  edgeLink(graph, from, *edge);
  graph.origin = nullptr;
  notify(graph, 1, nullptr, edge);
  return isRemoved(*edge) ? utFailNull(Err::notFound) : edge;
}

void edgeRemove(ZutGraph &graph, GraphEdge &edge) {
  graph.origin = nullptr;
  edgeUnlink(graph, utGraphVertex(edge.from), edge);
  edge.place = Z_NO_PLACE;
  edge.next = graph.deadEdges;
  graph.deadEdges = &edge;
  notify(graph, 0, nullptr, &edge);
}

GraphEdge *pairAdd(ZutGraph &graph, GraphVertex &a, GraphVertex &b, ZutWord dataAb, ZutWord dataBa,
                   int32_t weight) {
  GraphEdge *ab = edgeAdd(graph, a, b, dataAb, weight);
  if (!ab) return nullptr;
  GraphEdge *ba = edgeAdd(graph, b, a, dataBa, weight);
  if (ba && !isRemoved(*ab)) {
    ab->reverse = ba;
    ba->reverse = ab;
    return ab;
  }
  const Err error = ba ? Err::notFound : utErrGet();
  GraphEdge *left = ba ? ba : ab;
  if (!isRemoved(*left)) edgeRemove(graph, *left);
  return utFailNull(error);
}

int32_t pairRemove(ZutGraph &graph, GraphEdge &edge) {
  GraphEdge *partner = partnerOf(edge);
  if (!partner) return utFail(Err::invalid);
  edgeRemove(graph, *partner);
  if (isRemoved(edge)) return utFail(Err::notFound);
  edgeRemove(graph, edge);
  return 1;
}

// --- Vertices ---

GraphVertex *vertexAdd(ZutGraph &graph, const char *name) {
  GraphVertex *vertex = vertexNew(graph);
  vertex->graph = &graph;
  vertex->name = name;
  vertex->distance = Z_GRAPH_INFINITE;
  slotTake(graph, *vertex);
  utGraphNameAdd(graph.names, name, vertex);
  vertex->next = graph.vertices;
  if (graph.vertices) graph.vertices->prev = vertex;
  graph.vertices = vertex;
  ++graph.vertexCount;
  ++graph.vertexAddCount;
  graph.origin = nullptr;
  notify(graph, 1, vertex, nullptr);
  return vertex->leaving ? utFailNull(Err::notFound) : vertex;
}

void pathsForget(ZutGraph &graph) {
  if (!graph.hasPaths) return;
  for (ZutGraphVertex *vertex = graph.vertices; vertex; vertex = vertex->next)
    vertex->path_predecessor = vertex->first_hop = nullptr;
  graph.hasPaths = false;
}

void edgesRemove(ZutGraph &graph, GraphVertex &vertex) {
  while (vertex.edges) {
    GraphEdge &edge = edgeOf(vertex.edges);
    if (GraphEdge *partner = partnerOf(edge)) edgeRemove(graph, *partner);
    if (!isRemoved(edge)) edgeRemove(graph, edge);
  }
}

// Removes the edges that lead to a vertex, in the order of the vertex list.
void edgesInRemove(ZutGraph &graph, GraphVertex &vertex) {
  inKeep(graph);
  const uint32_t count = vertex.inDegree;
  if (!count) return;
  auto *edges = utNewArray<GraphEdge *>(count, "edges");
  std::copy_n(vertex.in, count, edges);
  std::sort(edges, edges + count, [](const GraphEdge *a, const GraphEdge *b) {
    return utGraphVertex(a->from).slot > utGraphVertex(b->from).slot;
  });
  for (uint32_t i = 0; i < count; ++i) {
    if (!isRemoved(*edges[i])) edgeRemove(graph, *edges[i]);
  }
  Z_FREE(edges, "edges");
}

void vertexUnlink(ZutGraph &graph, GraphVertex &vertex) {
  (vertex.prev ? vertex.prev->next : graph.vertices) = vertex.next;
  if (vertex.next) vertex.next->prev = vertex.prev;
  utGraphNameRemove(graph.names, vertex.name);
  utCheck(graph.slots[vertex.slot] == &vertex && !vertex.edges && !vertex.inDegree);
  graph.slots[vertex.slot] = nullptr;
  vertex.graph = nullptr;
}

void vertexRemove(ZutGraph &graph, GraphVertex &vertex) {
  vertex.leaving = true; // no edge can be added to it any more
  graph.origin = nullptr;
  edgesRemove(graph, vertex);
  pathsForget(graph); // without outgoing edges it cannot become a predecessor again
  edgesInRemove(graph, vertex);
  graph.origin = nullptr; // a callback may have computed paths from it
  vertexUnlink(graph, vertex);
  vertex.next = graph.deadVertices;
  graph.deadVertices = &vertex;
  notify(graph, 0, &vertex, nullptr);
  --graph.vertexCount;
}

// --- Dump ---

// A vertex that a computation has found, by name, or the word 0 for none. The labels differ. Kept.
void dumpFound(ZutPrintFunc out, const ZutGraphVertex *vertex, const char *named,
               const char *none) {
  if (vertex) out("%s|%s|\n", named, vertex->name);
  else out("%s%lx \n", none, 0UL);
}

void dumpVertex(ZutPrintFunc out, const ZutGraphVertex &vertex) {
  out("\n*** Vertex |%s| *** \n", vertex.name);
  out("distance = %ld \n", static_cast<long>(vertex.distance));
  out("perm = %ld \n", static_cast<long>(vertex.perm));
  dumpFound(out, vertex.path_predecessor, "path predecessor =  ", "path_predecessor = ");
  dumpFound(out, vertex.first_hop, "first hop = ", "first hop = ");
  for (const ZutGraphEdge *edge = vertex.edges; edge; edge = edge->next) {
    out("** edge <%s,%s>", edge->from->name, edge->to->name);
    out("weight = %ld \n", static_cast<long>(edge->weight));
  }
}

} // namespace

extern "C" {

ZutGraph *Z_CALL ZutGraphCreate() {
  auto *graph = utNew<ZutGraph>("graph");
  graph->weightedEdges = 1;
  return graph;
}

int32_t Z_CALL ZutGraphDestroy(ZutGraph *graph) {
  if (!graph) return utFail(Err::nullPointer);
  if (graph->depth || graph->destroying) return utFail(Err::objectInUse);
  graph->destroying = true;
  if (findUsedType()) {
    while (graph->vertices) ZutGraphVertexRemove(graph, graph->vertices);
  } else { // the same, when no callback can see it
    for (ZutGraphVertex *vertex = graph->vertices; vertex; vertex = vertex->next)
      arraysFree(utGraphVertex(vertex));
  }
  utCheck(!graph->depth);
  callbacksClear(*graph);
  blocksFree(graph->edgeStore, "edge");
  blocksFree(graph->vertexStore, "vertex");
  Z_FREE(graph->names.places, "names");
  Z_FREE(graph->slots, "slots");
  Z_FREE(graph, "graph");
  return 1;
}

int32_t Z_CALL ZutGraphSetWeightedEdges(ZutGraph *graph, int32_t flag) {
  if (!graph) return utFail(Err::nullPointer);
  if (flag != 0 && flag != 1) return utFail(Err::invalid);
  graph->weightedEdges = flag;
  return 1;
}

int32_t Z_CALL ZutGraphGetWeightedEdges(ZutGraph *graph, int32_t *out) {
  if (!graph || !out) return utFail(Err::nullPointer);
  *out = graph->weightedEdges;
  return 1;
}

ZutGraphVertex *Z_CALL ZutGraphVertexAdd(ZutGraph *graph, const char *name) {
  if (!graph || !name) return utFailNull(Err::nullPointer);
  if (graph->destroying) return utFailNull(Err::objectInUse);
  if (utGraphNameFind(graph->names, name)) return utFailNull(Err::exists);
  begin(*graph);
  GraphVertex *vertex = vertexAdd(*graph, name);
  end(*graph);
  return vertex;
}

int32_t Z_CALL ZutGraphVertexRemove(ZutGraph *graph, ZutGraphVertex *vertex) {
  if (!graph || !vertex) return utFail(Err::nullPointer);
  if (!usable(*graph, utGraphVertex(vertex))) return utFail(Err::notFound);
  begin(*graph);
  vertexRemove(*graph, utGraphVertex(vertex));
  end(*graph);
  return 1;
}

ZutGraphVertex *Z_CALL ZutGraphVertexLookup(ZutGraph *graph, const char *name) {
  if (!graph || !name) return utFailNull(Err::nullPointer);
  return utGraphNameFind(graph->names, name);
}

ZutGraphEdge *Z_CALL ZutGraphEdgeAdd(ZutGraph *graph, ZutGraphVertex *from, ZutGraphVertex *to,
                                     ZutWord data, int32_t weight) {
  if (!graph || !from || !to) return utFailNull(Err::nullPointer);
  begin(*graph);
  GraphEdge *edge = edgeAdd(*graph, utGraphVertex(from), utGraphVertex(to), data, weight);
  end(*graph);
  return edge;
}

ZutGraphEdge *Z_CALL ZutGraphEdgeUndirectedAdd(ZutGraph *graph, ZutGraphVertex *a,
                                               ZutGraphVertex *b, ZutWord data_ab, ZutWord data_ba,
                                               int32_t weight) {
  if (!graph || !a || !b) return utFailNull(Err::nullPointer);
  begin(*graph);
  GraphEdge *edge = pairAdd(*graph, utGraphVertex(a), utGraphVertex(b), data_ab, data_ba, weight);
  end(*graph);
  return edge;
}

int32_t Z_CALL ZutGraphEdgeRemove(ZutGraph *graph, ZutGraphEdge *edge) {
  if (!graph || !edge) return utFail(Err::nullPointer);
  if (!usable(*graph, edgeOf(edge))) return utFail(Err::notFound);
  begin(*graph);
  edgeRemove(*graph, edgeOf(edge));
  end(*graph);
  return 1;
}

int32_t Z_CALL ZutGraphEdgeUndirectedRemove(ZutGraph *graph, ZutGraphEdge *edge) {
  if (!graph || !edge) return utFail(Err::nullPointer);
  if (!usable(*graph, edgeOf(edge))) return utFail(Err::notFound);
  begin(*graph);
  const int32_t result = pairRemove(*graph, edgeOf(edge));
  end(*graph);
  return result;
}

ZutGraphEdge *Z_CALL ZutGraphEdgeLookup(ZutGraph *graph, ZutGraphVertex *from, ZutGraphVertex *to) {
  if (!graph || !from || !to) return utFailNull(Err::nullPointer);
  const GraphVertex &source = utGraphVertex(from);
  const GraphVertex &target = utGraphVertex(to);
  return owns(*graph, source) && owns(*graph, target) ? findEdge(source, target) : nullptr;
}

ZutGraphEdge *Z_CALL ZutGraphEdgeGetFirst(ZutGraphVertex *vertex) {
  return vertex ? vertex->edges : utFailNull(Err::nullPointer);
}

int32_t Z_CALL ZutGraphSetShortPath(ZutGraph *graph, ZutGraphVertex *origin) {
  if (!graph || !origin) return utFail(Err::nullPointer);
  if (!graph->vertexCount) return utFail(Err::unknown);
  if (!owns(*graph, utGraphVertex(origin))) return utFail(Err::notFound);
  graph->origin = nullptr;
  if (graph->vertexCount == 1) return 1;
  utGraphSearch(*graph, utGraphVertex(origin));
  graph->origin = origin;
  graph->hasPaths = true;
  return 1;
}

ZutGraphVertex *Z_CALL ZutGraphGetFirstHopVertex(ZutGraph *graph, ZutGraphVertex *vertex) {
  if (!graph || !vertex) return utFailNull(Err::nullPointer);
  return graph->origin ? vertex->first_hop : utFailNull(Err::unknown);
}

ZutCb *Z_CALL ZutGraphChangeCbCreate(ZutGraph *graph, ZutCbFunc function, ZutWord argument) {
  if (!graph || !function) return utFailNull(Err::nullPointer);
  return ZutCbTypeCbCreate(makeChangeType(), graph, function, argument);
}

ZutCb *Z_CALL ZutGraphChangeCbLookup(ZutGraph *graph, ZutCbFunc function, ZutWord argument) {
  if (!graph || !function) return utFailNull(Err::nullPointer);
  ZutCbType *type = findChangeType();
  return type ? ZutCbTypeCbLookup(type, graph, function, argument) : utFailNull(Err::notFound);
}

int32_t Z_CALL ZutGraphDump(ZutGraph *graph, ZutPrintFunc out) {
  if (!graph || !out) return utFail(Err::nullPointer);
  constexpr char line[] = "*************************************\n";
  out("%s", line);
  out("ZutGraphDump: Dumping graph\n");
  out("Vertex count = %ld \n", static_cast<long>(graph->vertexCount));
  out("Vertex add count = %ld \n", static_cast<long>(graph->vertexAddCount));
  out("Weighted edges: <%s>\n", graph->weightedEdges ? "true" : "false");
  dumpFound(out, graph->origin, "Origin vertex  = ", "Origin vertex  = ");
  out("%s", line);
  for (const ZutGraphVertex *vertex = graph->vertices; vertex; vertex = vertex->next)
    dumpVertex(out, *vertex);
  out("\nZutGraphDump: Done.\n");
  out("%s\n", line);
  return 1;
}

} // extern "C"
