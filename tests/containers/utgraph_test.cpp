#include "support/child.h"

#include <algorithm>
#include <cstdarg>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using Vertices = std::vector<ZutGraphVertex *>;

Vertices verticesOf(ZutGraphVertex *any) {
  Vertices list;
  while (any && any->prev) any = any->prev;
  for (; any; any = any->next) list.push_back(any);
  return list;
}

struct Found {
  int32_t distance = Z_GRAPH_INFINITE;
  int32_t perm = 0;
  ZutGraphVertex *predecessor = nullptr;
  ZutGraphVertex *hop = nullptr;
  bool operator==(const Found &) const = default;
};
using Paths = std::map<ZutGraphVertex *, Found>;

// The definition: a linear scan for the next vertex, as long as one can be chosen.
Paths scan(const Vertices &vertices, ZutGraphVertex *origin, bool weighted) {
  Paths paths;
  paths[origin].distance = 0;
  for (ZutGraphVertex *current = origin; current;) {
    paths[current].perm = 1;
    const int64_t length = paths[current].distance;
    for (ZutGraphEdge *edge = current->edges; edge; edge = edge->next) {
      const int64_t sum = std::max<int64_t>(length + (weighted ? edge->weight : 1), INT32_MIN);
      Found &to = paths[edge->to];
      if (sum < to.distance) to.distance = static_cast<int32_t>(sum), to.predecessor = current;
    }
    current = nullptr;
    int32_t best = Z_GRAPH_INFINITE;
    for (ZutGraphVertex *vertex : vertices) {
      const Found &found = paths[vertex];
      if (found.perm || !found.distance || found.distance > best) continue;
      best = found.distance;
      current = vertex;
    }
  }
  for (ZutGraphVertex *vertex : vertices) {
    ZutGraphVertex *at = vertex == origin ? nullptr : vertex;
    for (size_t i = 0; at && paths[at].predecessor != origin; ++i)
      at = i < vertices.size() ? paths[at].predecessor : nullptr;
    paths[vertex].hop = at;
  }
  return paths;
}

// The error number of a result that is null or 0; -1 for any other.
template <class T>
int32_t failure(T result) {
  return result ? -1 : ZutErrNumGet();
}

class Graph : public testing::Test {
protected:
  Graph() { ZutErrNumSet(0); }
  ~Graph() override {
    if (!graph) return;
    EXPECT_EQ(ZutGraphDestroy(graph), 1);
  }
  ZutGraphVertex *vertex(const char *name) { return ZutGraphVertexAdd(graph, name); }
  ZutGraphEdge *edge(ZutGraphVertex *from, ZutGraphVertex *to, int32_t weight = 1) {
    return ZutGraphEdgeAdd(graph, from, to, 0, weight);
  }
  ZutGraphEdge *pair(ZutGraphVertex *a, ZutGraphVertex *b, int32_t weight = 1) {
    return ZutGraphEdgeUndirectedAdd(graph, a, b, 1, 2, weight);
  }
  ZutGraph *graph = ZutGraphCreate();
};

// A graph that changes at random, and what it should consist of.
struct Random {
  Random(ZutGraph *g, unsigned seed) : graph(g), engine(seed) { addVertex(), addVertex(); }
  size_t below(size_t limit) { return engine() % limit; }
  ZutGraphVertex *any() { return vertices[below(vertices.size())]; }

  void change(int lowest, int highest) {
    const auto weight = static_cast<int32_t>(below(static_cast<size_t>(highest - lowest + 1)));
    switch (below(16)) {
    case 0:
    case 1: return addVertex();
    case 2:
    case 3: return vertices.size() > 2 ? removeVertex(below(vertices.size())) : addVertex();
    case 4: return edges.empty() ? addVertex() : removeEdge();
    case 5:
    case 6: return addPair(any(), any(), lowest + weight);
    default: return addEdge(any(), any(), lowest + weight);
    }
  }

  void addVertex() { vertices.insert(vertices.begin(), ZutGraphVertexAdd(graph, &names[added++])); }
  void addEdge(ZutGraphVertex *from, ZutGraphVertex *to, int32_t weight) {
    const bool fresh = edges.emplace(from, to).second;
    ASSERT_EQ(ZutGraphEdgeAdd(graph, from, to, 0, weight) != nullptr, fresh);
  }
  void addPair(ZutGraphVertex *a, ZutGraphVertex *b, int32_t weight) {
    const bool fresh = a != b && !edges.count({a, b}) && !edges.count({b, a});
    ASSERT_EQ(ZutGraphEdgeUndirectedAdd(graph, a, b, 0, 0, weight) != nullptr, fresh);
    if (fresh) edges.insert({{a, b}, {b, a}});
  }
  void removeEdge() {
    const auto [from, to] = *std::next(edges.begin(), static_cast<long>(below(edges.size())));
    ASSERT_EQ(ZutGraphEdgeRemove(graph, ZutGraphEdgeLookup(graph, from, to)), 1);
    edges.erase({from, to});
  }
  void removeVertex(size_t index) {
    ZutGraphVertex *gone = vertices[index];
    vertices.erase(vertices.begin() + static_cast<long>(index));
    std::erase_if(edges, [=](auto &ends) { return ends.first == gone || ends.second == gone; });
    ASSERT_EQ(ZutGraphVertexRemove(graph, gone), 1);
  }
  // Lists and look-ups say the same as the model.
  void check() {
    ASSERT_EQ(verticesOf(vertices[0]), vertices);
    size_t count = 0;
    for (ZutGraphVertex *vertex : vertices) {
      ASSERT_EQ(ZutGraphVertexLookup(graph, vertex->name), vertex);
      for (ZutGraphEdge *edge = ZutGraphEdgeGetFirst(vertex); edge; edge = edge->next, ++count) {
        ASSERT_EQ(edge->from, vertex);
        ASSERT_TRUE(edges.count({vertex, edge->to}));
        ASSERT_EQ(ZutGraphEdgeLookup(graph, vertex, edge->to), edge);
        ASSERT_TRUE(!edge->next || edge->next->prev == edge);
      }
    }
    ASSERT_EQ(count, edges.size());
  }
  void compare(bool weighted) {
    ZutGraphVertex *origin = any();
    ZutGraphSetWeightedEdges(graph, weighted);
    ASSERT_EQ(ZutGraphSetShortPath(graph, origin), 1);
    Paths paths = scan(vertices, origin, weighted);
    for (ZutGraphVertex *v : vertices)
      ASSERT_EQ((Found{v->distance, v->perm, v->path_predecessor, v->first_hop}), paths[v]);
  }

  ZutGraph *graph;
  std::mt19937 engine;
  Vertices vertices; // newest first
  std::set<std::pair<ZutGraphVertex *, ZutGraphVertex *>> edges;
  char names[300] = {};
  size_t added = 0;
};

TEST(GraphPaths, AreThoseOfTheLinearScan) {
  for (int i = 0; i < 3000; ++i) {
    // Few different weights, so that many vertices are equally far; every third with weights that
    // nobody should use.
    const int lowest = i % 3 == 0 ? -3 : 1, highest = i % 2 ? 4 : 60;
    ZutGraph *graph = ZutGraphCreate();
    Random random(graph, static_cast<unsigned>(i));
    const size_t changes = random.below(200);
    for (size_t k = 0; k < changes; ++k) ASSERT_NO_FATAL_FAILURE(random.change(lowest, highest));
    ASSERT_NO_FATAL_FAILURE(random.compare(i % 5 != 0)) << i;
    ASSERT_NO_FATAL_FAILURE(random.addVertex());
    ASSERT_NO_FATAL_FAILURE(random.removeVertex(random.below(2)));
    ASSERT_NO_FATAL_FAILURE(random.check()) << i;
    ASSERT_NO_FATAL_FAILURE(random.compare(true)) << i;
    ASSERT_EQ(ZutGraphDestroy(graph), 1);
  }
}

TEST_F(Graph, KeepsPathsUntilTheNextChange) {
  ZutGraphVertex *a = vertex("a");
  EXPECT_EQ(ZutGraphSetShortPath(graph, a), 1);
  EXPECT_EQ(failure(ZutGraphGetFirstHopVertex(graph, a)), 12) << "no computation for one vertex";
  ZutGraphVertex *b = vertex("b"), *c = vertex("c"), *d = vertex("d");
  edge(a, b, INT32_MIN), edge(b, c, INT32_MIN), edge(c, a, -1), edge(a, d, INT32_MAX);
  for (int change = 0; change < 4; ++change) {
    ZutErrNumSet(0);
    ASSERT_EQ(ZutGraphSetShortPath(graph, a), 1);
    EXPECT_EQ(c->distance, INT32_MIN) << "sums stay within 32 bits";
    ZutGraphSetWeightedEdges(graph, 0); // no such change
    EXPECT_EQ(ZutGraphGetFirstHopVertex(graph, c), b);
    EXPECT_EQ(failure(ZutGraphGetFirstHopVertex(graph, a)), 0);
    ZutGraphSetWeightedEdges(graph, 1);
    if (change == 0) vertex("e");
    if (change == 1) edge(c, d);
    if (change == 2) ZutGraphEdgeRemove(graph, c->edges);
    if (change == 3) ZutGraphVertexRemove(graph, d);
    EXPECT_EQ(failure(ZutGraphGetFirstHopVertex(graph, c)), 12) << change;
  }
  EXPECT_EQ(c->first_hop, nullptr) << "removing a vertex forgets the paths";
}

TEST_F(Graph, RefusesWhatItCannotDo) {
  ZutGraphVertex *a = vertex("a"), *b = vertex("b");
  ZutGraphEdge *first = edge(a, b, 5);
  EXPECT_EQ(failure(ZutGraphVertexLookup(graph, "none")), 0);
  EXPECT_EQ(failure(ZutGraphEdgeLookup(graph, b, a)), 0);
  EXPECT_EQ(failure(vertex(a->name)), 6);
  EXPECT_EQ(failure(edge(a, b, 7)), 6);
  EXPECT_EQ(failure(pair(b, a)), 6);
  EXPECT_TRUE(a->edges == first && !b->edges) << "without its second half the first goes again";
  EXPECT_EQ(failure(ZutGraphEdgeUndirectedRemove(graph, first)), 7);
  EXPECT_EQ(failure(ZutGraphSetWeightedEdges(graph, 2)), 7);
  EXPECT_EQ(failure(edge(a, nullptr)), 3);
  ZutGraph *other = ZutGraphCreate();
  EXPECT_EQ(failure(ZutGraphSetShortPath(other, a)), 12);
  EXPECT_EQ(failure(edge(a, ZutGraphVertexAdd(other, "foreign"))), 8);
  EXPECT_EQ(failure(ZutGraphEdgeRemove(other, first)), 8);
  ZutGraphDestroy(other);
}

std::string text;  // of the print function, or what the first callback was told
std::string later; // what the last callback was told

int32_t Z_CALL print(const char *format, ...) {
  char line[200];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  text += line;
  return length;
}

TEST_F(Graph, DumpsItself) {
  text.clear();
  ZutGraphVertex *a = vertex("a"), *b = vertex("b");
  edge(a, b, 5);
  ZutGraphSetShortPath(graph, a);
  EXPECT_EQ(ZutGraphDump(graph, print), 1);
  EXPECT_EQ(text, "*************************************\n"
                  "ZutGraphDump: Dumping graph\nVertex count = 2 \nVertex add count = 2 \n"
                  "Weighted edges: <true>\nOrigin vertex  = |a|\n"
                  "*************************************\n"
                  "\n*** Vertex |b| *** \ndistance = 5 \nperm = 1 \n"
                  "path predecessor =  |a|\nfirst hop = |b|\n"
                  "\n*** Vertex |a| *** \ndistance = 0 \nperm = 1 \n"
                  "path_predecessor = 0 \nfirst hop = 0 \n** edge <a,b>weight = 5 \n"
                  "\nZutGraphDump: Done.\n*************************************\n\n");
}

// A star, whose every step would be long if look-ups or removals walked its edges.
TEST_F(Graph, TakesManyEdgesAtOneVertex) {
  const std::string names(20000, ' ');
  ZutGraphVertex *hub = vertex("hub");
  for (const char &name : names) {
    ASSERT_NE(pair(hub, vertex(&name), 1 + (&name - names.data()) % 7), nullptr);
  }
  EXPECT_EQ(ZutGraphSetShortPath(graph, ZutGraphVertexLookup(graph, &names[1])), 1);
  EXPECT_EQ(ZutGraphVertexLookup(graph, &names[6])->distance, 9);
  for (size_t i = 0; i < names.size() / 2; ++i) {
    ZutGraphVertex *leaf = ZutGraphVertexLookup(graph, &names[i]);
    ASSERT_EQ(ZutGraphEdgeUndirectedRemove(graph, leaf->edges), 1);
    ASSERT_EQ(ZutGraphEdgeLookup(graph, hub, leaf), nullptr);
    ASSERT_EQ(ZutGraphVertexRemove(graph, leaf), 1);
  }
  EXPECT_EQ(ZutGraphVertexRemove(graph, hub), 1);
}

// --- Notices ---

// Appends "+a", "-a", "+ab" or "-ab".
void Z_CALL record(void *, void *callData, ZutWord isLast) {
  const auto &data = *static_cast<ZutGraphChangeData *>(callData);
  std::string &told = isLast ? later : text;
  told += data.added ? " +" : " -";
  if (data.vertex) told += data.vertex->name;
  else told.append(data.edge->from->name).append(data.edge->to->name);
}

// Runs `reaction` once, at a notice that reads like `trigger`.
struct Reaction {
  ZutGraph *graph;
  std::string trigger;
  std::function<void(ZutGraphChangeData &)> action;
};

void Z_CALL react(void *, void *callData, ZutWord word) {
  auto &reaction = *reinterpret_cast<Reaction *>(word);
  if (!reaction.action || !text.ends_with(" " + reaction.trigger)) return;
  const auto action = std::exchange(reaction.action, nullptr);
  action(*static_cast<ZutGraphChangeData *>(callData));
}

class GraphNotices : public Graph {
protected:
  GraphNotices() {
    EXPECT_EQ(failure(ZutGraphChangeCbLookup(graph, record, 0)), 8);
    recorder = ZutGraphChangeCbCreate(graph, record, 0);
    ZutGraphChangeCbCreate(graph, react, reinterpret_cast<ZutWord>(&reaction));
    ZutGraphChangeCbCreate(graph, record, 1);
    a = vertex("a"), b = vertex("b"), c = vertex("c");
    pair(a, b), edge(b, c), pair(c, a);
    text.clear(), later.clear();
  }
  void at(const char *trigger, std::function<void(ZutGraphChangeData &)> action) {
    reaction.trigger = trigger;
    reaction.action = std::move(action);
  }
  std::string told() { return std::exchange(text, {}); }

  Reaction reaction{graph, {}, {}};
  ZutCb *recorder;
  ZutGraphVertex *a, *b, *c;
};

TEST_F(GraphNotices, TellEachChangeInOrder) {
  EXPECT_EQ(ZutGraphChangeCbLookup(graph, record, 0), recorder);
  ZutGraphVertex *d = vertex("d");
  edge(c, d), edge(a, d), edge(d, b), edge(d, d);
  EXPECT_EQ(told(), " +d +cd +ad +db +dd");
  ZutGraphVertexRemove(graph, d);
  EXPECT_EQ(told(), " -dd -db -cd -ad -d");
  ZutGraphEdgeUndirectedRemove(graph, ZutGraphEdgeLookup(graph, b, a));
  EXPECT_EQ(told(), " -ab -ba");
  EXPECT_EQ(failure(pair(c, b)), 6) << "the second half was there";
  EXPECT_EQ(told(), " +cb -cb");
  ZutGraph *other = ZutGraphCreate();
  ZutGraphVertexAdd(other, "x");
  ZutGraphDestroy(other);
  EXPECT_EQ(told(), "") << "another graph's changes";
  ZutGraphDestroy(graph);
  graph = nullptr;
  EXPECT_EQ(told(), " -ac -ca -bc -c -b -a");
}

TEST_F(GraphNotices, MayRemoveWhatTheyAreToldOf) {
  at("+d", [&](auto &data) { EXPECT_EQ(ZutGraphVertexRemove(graph, data.vertex), 1); });
  EXPECT_EQ(failure(vertex("d")), 8);
  EXPECT_EQ(told(), " +d -d");
  EXPECT_EQ(later, " -d +d") << "the change within the notice first, and its record is still there";
  ZutGraphVertex *d = vertex("d");
  for (const char *half : {"+db", "+bd"}) {
    for (const bool other : {false, true}) {
      at(half, [&](auto &data) {
        ZutGraphEdgeRemove(graph, other ? ZutGraphEdgeLookup(graph, d, b) : data.edge);
      });
      ZutErrNumSet(0);
      EXPECT_EQ(failure(pair(d, b)), 8) << half;
      EXPECT_TRUE(!d->edges && !ZutGraphEdgeLookup(graph, b, d));
    }
  }
  at("+da", [&](auto &) { ZutGraphVertexRemove(graph, d); });
  EXPECT_EQ(failure(edge(d, a)), 8);
  EXPECT_EQ(ZutGraphVertexLookup(graph, "d"), nullptr);
}

TEST_F(GraphNotices, MayChangeTheGraphWhileSomethingGoes) {
  at("-ab", [&](auto &data) {
    EXPECT_EQ(failure(ZutGraphEdgeRemove(graph, data.edge)), 8);
    ZutGraphEdgeRemove(graph, ZutGraphEdgeLookup(graph, b, a));
  });
  EXPECT_EQ(failure(ZutGraphEdgeUndirectedRemove(graph, ZutGraphEdgeLookup(graph, b, a))), 8);
  EXPECT_EQ(told(), " -ab -ba");
  at("-ca", [&](auto &) { // while c goes
    EXPECT_EQ(failure(edge(a, c)), 8);
    EXPECT_EQ(failure(ZutGraphVertexRemove(graph, c)), 8);
    EXPECT_EQ(failure(ZutGraphDestroy(graph)), 32);
    EXPECT_EQ(ZutGraphVertexRemove(graph, b), 1);
    vertex("e");
    EXPECT_EQ(ZutGraphSetShortPath(graph, c), 1);
  });
  EXPECT_EQ(ZutGraphVertexRemove(graph, c), 1);
  EXPECT_EQ(told(), " -ac -ca -bc -b +e -c");
  EXPECT_EQ(failure(ZutGraphGetFirstHopVertex(graph, a)), 12);
  at("-a", [&](auto &data) {
    EXPECT_EQ(failure(edge(data.vertex, ZutGraphVertexLookup(graph, "e"))), 8);
    ZutCbDestroy(recorder);
    ZutCbDestroy(data.cb);
    EXPECT_NE(vertex(data.vertex->name), nullptr) << "a new one of that name";
  });
  EXPECT_EQ(ZutGraphVertexRemove(graph, a), 1);
  EXPECT_EQ(told(), " -a");
}

TEST_F(GraphNotices, MayNotAddToAGraphThatGoes) {
  at("-c", [&](auto &) {
    EXPECT_EQ(failure(vertex("late")), 32);
    EXPECT_EQ(failure(edge(a, b)), 32);
    EXPECT_EQ(ZutGraphVertexRemove(graph, a), 1);
  });
  EXPECT_EQ(ZutGraphDestroy(graph), 1);
  graph = nullptr;
  EXPECT_EQ(told(), " -ac -ca -bc -c -ba -ab -a -b");
}

} // namespace
