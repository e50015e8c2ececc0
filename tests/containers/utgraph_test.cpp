#include "support/child.h"
#include "support/errors.h"

#include <algorithm>
#include <functional>
#include <map>
#include <random>
#include <set>

namespace {

using Vertices = std::vector<ZutGraphVertex *>;

// The result of a search for one vertex.
struct Found {
  int32_t distance = Z_GRAPH_INFINITE;
  int32_t perm = 0;
  ZutGraphVertex *predecessor = nullptr;
  ZutGraphVertex *hop = nullptr;
  bool operator==(const Found &) const = default;
};
using Paths = std::map<ZutGraphVertex *, Found>;

// The documented result in its plainest form: a linear scan for each next vertex.
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

// A graph that changes at random, also while it sends notices, and its contents by these notices.
struct Mirror {
  ZutGraph *graph = ZutGraphCreate();
  std::mt19937 random;
  bool nested; // notices change the graph
  int depth = 0;
  Vertices vertices = {};
  std::set<std::pair<ZutGraphVertex *, ZutGraphVertex *>> edges = {};
  std::string names = std::string(10000, ' ');
  size_t added = 0;

  int32_t below(size_t limit) { return static_cast<int32_t>(random() % limit); }
  ZutGraphVertex *any() { return vertices.empty() ? nullptr : vertices[below(vertices.size())]; }
  void addVertex() { ZutGraphVertexAdd(graph, &names.at(added++)); }

  static auto endsOf(ZutGraphEdge *edge) { return std::pair(edge->from, edge->to); }

  static void Z_CALL notice(void *, void *callData, ZutWord word) {
    auto &mirror = *reinterpret_cast<Mirror *>(word);
    const auto &data = *static_cast<ZutGraphChangeData *>(callData);
    Vertices &vertices = mirror.vertices;
    if (data.edge && data.added) EXPECT_TRUE(mirror.edges.insert(endsOf(data.edge)).second);
    else if (data.edge) EXPECT_EQ(mirror.edges.erase(endsOf(data.edge)), 1u);
    else if (data.added) vertices.insert(vertices.begin(), data.vertex);
    else EXPECT_EQ(std::erase(vertices, data.vertex), 1u);
    if (!mirror.nested || mirror.depth == 3 || mirror.below(4)) return;
    ++mirror.depth;
    mirror.change(1, 9);
    --mirror.depth;
  }

  void change(int32_t lowest, int32_t highest) {
    ZutGraphVertex *a = any(), *b = any();
    const bool known = edges.count({a, b}), back = edges.count({b, a});
    const int32_t kind = below(16), weight = lowest + below(highest - lowest + 1);
    if (vertices.size() < 2 || kind < 2) {
      addVertex();
    } else if (kind < 4) {
      ZutGraphVertexRemove(graph, a);
    } else if (kind == 4 && !edges.empty()) {
      const auto [from, to] = *std::next(edges.begin(), below(edges.size()));
      ZutGraphEdge *edge = ZutGraphEdgeLookup(graph, from, to);
      const bool done =
          ZutGraphEdgeUndirectedRemove(graph, edge) || ZutGraphEdgeRemove(graph, edge);
      ASSERT_TRUE(done || nested);
    } else if (kind < 7) {
      const bool done = ZutGraphEdgeUndirectedAdd(graph, a, b, 0, 0, weight);
      ASSERT_TRUE(nested || done == (a != b && !known && !back));
    } else {
      ASSERT_TRUE(ZutGraphEdgeAdd(graph, a, b, 0, weight) || nested || known);
    }
  }

  // Lists and look-ups agree with the mirror.
  void check() {
    Vertices listed;
    size_t count = 0;
    for (ZutGraphVertex *vertex = vertices[0]; vertex; vertex = vertex->next) {
      listed.push_back(vertex);
      ASSERT_EQ(ZutGraphVertexLookup(graph, vertex->name), vertex);
      ASSERT_TRUE(!vertex->next || vertex->next->prev == vertex);
      for (ZutGraphEdge *edge = ZutGraphEdgeGetFirst(vertex); edge; edge = edge->next, ++count) {
        ASSERT_TRUE(edge->from == vertex && edges.count({vertex, edge->to}));
        ASSERT_EQ(ZutGraphEdgeLookup(graph, vertex, edge->to), edge);
        ASSERT_TRUE(!edge->next || edge->next->prev == edge);
      }
    }
    ASSERT_EQ(listed, vertices);
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
};

TEST(GraphWalk, AgreesWithItsNoticesAndTheLinearScan) {
  for (unsigned i = 0; i < 3000; ++i) {
    // Few different weights, so that many vertices are equally far; every third with weights below
    // 1, which the method does not expect.
    const int32_t lowest = i % 3 == 0 ? -3 : 1, highest = i % 2 ? 4 : 60;
    Mirror mirror{.random = std::mt19937(i), .nested = i % 4 == 0};
    ZutGraphChangeCbCreate(mirror.graph, Mirror::notice, reinterpret_cast<ZutWord>(&mirror));
    for (int32_t left = mirror.below(200); left; --left)
      ASSERT_NO_FATAL_FAILURE(mirror.change(lowest, highest));
    mirror.nested = false;
    while (mirror.vertices.size() < 2) mirror.addVertex();
    for (const bool weighted : {i % 5 != 0, true}) {
      ASSERT_NO_FATAL_FAILURE(mirror.check()) << i;
      ASSERT_NO_FATAL_FAILURE(mirror.compare(weighted)) << i;
      mirror.addVertex();
      ZutGraphVertexRemove(mirror.graph, mirror.vertices[1]);
    }
    ASSERT_EQ(ZutGraphDestroy(mirror.graph), 1);
    ASSERT_TRUE(mirror.vertices.empty() && mirror.edges.empty());
  }
}

class Graph : public testing::Test {
protected:
  void TearDown() override { EXPECT_TRUE(!graph || ZutGraphDestroy(graph)); }
  ZutGraphVertex *vertex(const char *name) { return ZutGraphVertexAdd(graph, name); }
  ZutGraphEdge *edge(ZutGraphVertex *from, ZutGraphVertex *to, int32_t weight = 1) {
    return ZutGraphEdgeAdd(graph, from, to, 0, weight);
  }
  ZutGraphEdge *pair(ZutGraphVertex *a, ZutGraphVertex *b, int32_t weight = 1) {
    return ZutGraphEdgeUndirectedAdd(graph, a, b, 1, 2, weight);
  }
  ZutGraph *graph = ZutGraphCreate();
};

TEST_F(Graph, KeepsPathsUntilTheNextChange) {
  ZutGraphVertex *a = vertex("a");
  EXPECT_EQ(ZutGraphSetShortPath(graph, a), 1);
  EXPECT_ERROR(12, ZutGraphGetFirstHopVertex(graph, a)) << "no computation for one vertex";
  ZutGraphVertex *b = vertex("b"), *c = vertex("c"), *d = vertex("d");
  edge(a, b, INT32_MIN), edge(b, c, INT32_MIN), edge(c, a, -1), edge(a, d, INT32_MAX);
  const std::function<void()> changes[] = {[&] { vertex("e"); }, [&] { edge(c, d); },
                                           [&] { ZutGraphEdgeRemove(graph, c->edges); },
                                           [&] { ZutGraphVertexRemove(graph, d); }};
  for (const auto &change : changes) {
    ASSERT_EQ(ZutGraphSetShortPath(graph, a), 1);
    EXPECT_EQ(c->distance, INT32_MIN) << "sums stay within 32 bits";
    ZutGraphSetWeightedEdges(graph, 0); // no such change
    EXPECT_EQ(ZutGraphGetFirstHopVertex(graph, c), b);
    EXPECT_ERROR(0, ZutGraphGetFirstHopVertex(graph, a));
    ZutGraphSetWeightedEdges(graph, 1);
    change();
    EXPECT_ERROR(12, ZutGraphGetFirstHopVertex(graph, c));
  }
  EXPECT_EQ(c->first_hop, nullptr) << "removing a vertex forgets the paths";
}

TEST_F(Graph, RefusesWhatItCannotDo) {
  ZutGraphVertex *a = vertex("a"), *b = vertex("b");
  ZutGraphEdge *first = edge(a, b, 5);
  EXPECT_ERROR(0, ZutGraphVertexLookup(graph, "none"));
  EXPECT_ERROR(0, ZutGraphEdgeLookup(graph, b, a));
  EXPECT_ERROR(6, vertex(a->name));
  EXPECT_ERROR(6, edge(a, b, 7));
  EXPECT_ERROR(6, pair(b, a));
  EXPECT_TRUE(a->edges == first && !b->edges) << "without its second half the first goes again";
  EXPECT_ERROR(7, ZutGraphEdgeUndirectedRemove(graph, first));
  EXPECT_ERROR(7, ZutGraphSetWeightedEdges(graph, 2));
  ZutGraph *other = ZutGraphCreate();
  EXPECT_ERROR(12, ZutGraphSetShortPath(other, a));
  EXPECT_ERROR(8, edge(a, ZutGraphVertexAdd(other, "foreign")));
  EXPECT_ERROR(8, ZutGraphEdgeRemove(other, first));
  ZutGraphDestroy(other);
}

TEST_F(Graph, DumpsItself) {
  ZutGraphVertex *a = vertex("a");
  edge(a, vertex("b"), 5);
  ZutGraphSetShortPath(graph, a);
  Capture capture;
  EXPECT_EQ(ZutGraphDump(graph, ZutOut), 1);
  EXPECT_EQ(capture.text(),
            "*************************************\n"
            "ZutGraphDump: Dumping graph\nVertex count = 2 \nVertex add count = 2 \n"
            "Weighted edges: <true>\nOrigin vertex  = |a|\n"
            "*************************************\n"
            "\n*** Vertex |b| *** \ndistance = 5 \nperm = 1 \n"
            "path predecessor =  |a|\nfirst hop = |b|\n"
            "\n*** Vertex |a| *** \ndistance = 0 \nperm = 1 \n"
            "path_predecessor = 0 \nfirst hop = 0 \n** edge <a,b>weight = 5 \n"
            "\nZutGraphDump: Done.\n*************************************\n\n");
}

// A star: slow if look-ups or removals walked all edges of a vertex.
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

std::string nameOf(const ZutGraphChangeData &data) {
  const std::string name = data.added ? " +" : " -";
  return data.vertex ? name + data.vertex->name
                     : name + data.edge->from->name + data.edge->to->name;
}

// Notices read like " +a" for a vertex, " -ab" for an edge. The first callback notes what it is
// sent and runs `action` once, at the notice `trigger`; the last one only notes.
class GraphNotices : public Graph {
protected:
  static void Z_CALL first(void *, void *callData, ZutWord word) {
    auto &test = *reinterpret_cast<GraphNotices *>(word);
    auto &data = *static_cast<ZutGraphChangeData *>(callData);
    test.notices += nameOf(data);
    if (nameOf(data) != test.trigger) return;
    test.trigger.clear();
    test.action(data);
  }
  static void Z_CALL last(void *, void *data, ZutWord word) {
    reinterpret_cast<GraphNotices *>(word)->later +=
        nameOf(*static_cast<ZutGraphChangeData *>(data));
  }
  GraphNotices() {
    EXPECT_ERROR(8, ZutGraphChangeCbLookup(graph, first, self));
    callback = ZutGraphChangeCbCreate(graph, first, self);
    ZutGraphChangeCbCreate(graph, last, self);
    EXPECT_EQ(ZutGraphChangeCbLookup(graph, first, self), callback);
    a = vertex("a"), b = vertex("b"), c = vertex("c");
    pair(a, b), edge(b, c), pair(c, a);
    notices.clear(), later.clear();
  }
  void at(const std::string &notice, std::function<void(ZutGraphChangeData &)> function) {
    trigger = " " + notice;
    action = std::move(function);
  }
  std::string taken() { return std::exchange(notices, {}); }

  const ZutWord self = reinterpret_cast<ZutWord>(this);
  std::string notices, later, trigger;
  std::function<void(ZutGraphChangeData &)> action;
  ZutCb *callback;
  ZutGraphVertex *a, *b, *c;
};

TEST_F(GraphNotices, ComeForEachChangeInOrder) {
  ZutGraphVertex *d = vertex("d");
  edge(c, d), edge(a, d), edge(d, b), edge(d, d);
  EXPECT_EQ(taken(), " +d +cd +ad +db +dd");
  ZutGraphVertexRemove(graph, d);
  EXPECT_EQ(taken(), " -dd -db -cd -ad -d");
  ZutGraphEdgeUndirectedRemove(graph, ZutGraphEdgeLookup(graph, b, a));
  EXPECT_EQ(taken(), " -ab -ba");
  EXPECT_ERROR(6, pair(c, b)) << "the second half was there";
  EXPECT_EQ(taken(), " +cb -cb");
  ZutGraph *other = ZutGraphCreate();
  ZutGraphVertexAdd(other, "x");
  ZutGraphDestroy(other);
  EXPECT_EQ(taken(), "") << "another graph's changes";
  at("-c", [&](auto &) {
    EXPECT_ERROR(32, vertex("late"));
    EXPECT_ERROR(32, edge(a, b));
    EXPECT_EQ(ZutGraphVertexRemove(graph, a), 1);
  });
  ZutGraphDestroy(graph);
  graph = nullptr;
  EXPECT_EQ(taken(), " -ac -ca -bc -c -a -b");
}

TEST_F(GraphNotices, MayRemoveWhatTheyReport) {
  at("+d", [&](auto &data) { EXPECT_EQ(ZutGraphVertexRemove(graph, data.vertex), 1); });
  EXPECT_ERROR(8, vertex("d"));
  EXPECT_EQ(taken(), " +d -d");
  EXPECT_EQ(later, " -d +d") << "the change within the notice first, and its record is still there";
  ZutGraphVertex *d = vertex("d");
  for (const char *half : {"+db", "+bd"}) {
    for (const bool other : {false, true}) {
      at(half, [&](auto &data) {
        ZutGraphEdgeRemove(graph, other ? ZutGraphEdgeLookup(graph, d, b) : data.edge);
      });
      EXPECT_ERROR(8, pair(d, b)) << half;
      EXPECT_TRUE(!d->edges && !ZutGraphEdgeLookup(graph, b, d));
    }
  }
  at("+da", [&](auto &) { ZutGraphVertexRemove(graph, d); });
  EXPECT_ERROR(8, edge(d, a));
  EXPECT_EQ(ZutGraphVertexLookup(graph, "d"), nullptr);
}

TEST_F(GraphNotices, MayChangeTheGraphDuringARemoval) {
  at("-ab", [&](auto &data) {
    EXPECT_ERROR(8, ZutGraphEdgeRemove(graph, data.edge));
    ZutGraphEdgeRemove(graph, ZutGraphEdgeLookup(graph, b, a));
  });
  EXPECT_ERROR(8, ZutGraphEdgeUndirectedRemove(graph, ZutGraphEdgeLookup(graph, b, a)));
  EXPECT_EQ(taken(), " -ab -ba");
  at("-ca", [&](auto &) { // during the removal of c
    EXPECT_ERROR(8, edge(a, c));
    EXPECT_ERROR(8, ZutGraphVertexRemove(graph, c));
    EXPECT_ERROR(32, ZutGraphDestroy(graph));
    EXPECT_EQ(ZutGraphVertexRemove(graph, b), 1);
    vertex("e");
    EXPECT_EQ(ZutGraphSetShortPath(graph, c), 1);
  });
  EXPECT_EQ(ZutGraphVertexRemove(graph, c), 1);
  EXPECT_EQ(taken(), " -ac -ca -bc -b +e -c");
  EXPECT_ERROR(12, ZutGraphGetFirstHopVertex(graph, a));
  at("-a", [&](auto &data) {
    EXPECT_ERROR(8, edge(data.vertex, ZutGraphVertexLookup(graph, "e")));
    ZutCbDestroy(callback);
    EXPECT_NE(vertex(data.vertex->name), nullptr) << "a new one of that name";
  });
  EXPECT_EQ(ZutGraphVertexRemove(graph, a), 1);
  EXPECT_EQ(taken(), " -a");
}

} // namespace
