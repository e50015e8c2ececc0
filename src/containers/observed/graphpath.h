// Shortest paths of a graph.
#pragma once

#include "containers/observed/utgraph.h"

// Computes those from `origin`, a vertex of the graph, into the fields of all vertices.
void utGraphSearch(const ZutGraph &graph, const GraphVertex &origin);
