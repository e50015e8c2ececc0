// The internal records of graphs: see include/zut.h, "Weighted graph".
#pragma once

#include "containers/observed/graphnames.h"
#include "zut.h"

// The public part of an edge, and its places in the arrays of its two vertices.
struct GraphEdge : ZutGraphEdge {
  uint32_t place;   // in the arcs of `from`; Z_NO_PLACE once removed
  uint32_t inPlace; // in the array `in` of `to`, if that is kept
};
inline constexpr uint32_t Z_NO_PLACE = UINT32_MAX;

// Vertices and edges are allocated in blocks that belong to the graph.
struct GraphBlock {
  GraphBlock *next;
};
struct GraphStore {
  GraphBlock *blocks;
  uint8_t *fresh; // the part of the newest block that was never used
  uint8_t *freshEnd;
};

// An edge as the searches read it.
struct GraphArc {
  uint32_t slot; // of the target
  int32_t weight;
  GraphEdge *edge;
};

struct GraphVertex : ZutGraphVertex {
  GraphArc *arcs; // its edges, in no order
  uint32_t degree;
  uint32_t arcCapacity;
  ZutHashTable *targets; // target to edge; null while there are few edges
  ZutGraph *graph;       // null once removed
  uint32_t slot;
  bool leaving;   // its removal has begun
  GraphEdge **in; // the edges that lead to it, in no order, if they are kept
  uint32_t inDegree;
  uint32_t inCapacity;
};

struct ZutGraph {
  ZutGraphVertex *vertices; // newest first
  int32_t vertexCount;
  int32_t vertexAddCount;
  int32_t weightedEdges;
  ZutGraphVertex *origin; // null: no valid computation
  GraphNames names;
  GraphVertex **slots; // by age; null where a vertex was removed
  uint32_t slotTop;    // slots in use
  uint32_t slotCapacity;
  int64_t edgeCount;
  bool keepsIn;  // the arrays `in` of the vertices are kept
  bool hasPaths; // a vertex may have a predecessor or a first hop
  bool destroying;
  int32_t depth;                // operations in progress that send notices
  ZutGraphVertex *deadVertices; // removed during these, linked by next
  ZutGraphEdge *deadEdges;
  ZutGraphVertex *freeVertices; // for reuse, linked by next
  ZutGraphEdge *freeEdges;
  GraphStore vertexStore;
  GraphStore edgeStore;
};

inline GraphVertex &utGraphVertex(ZutGraphVertex *vertex) {
  return *static_cast<GraphVertex *>(vertex);
}
