// Graphs against Boost.Graph's adjacency lists.
#include "support/row.h"
#include "zut.h"

#include <boost/graph/adjacency_list.hpp>
#include <boost/graph/dijkstra_shortest_paths.hpp>
#include <boost/graph/dijkstra_shortest_paths_no_color_map.hpp>

#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

constexpr int degree = 8;

struct Line {
  int from, to, weight;
};

// Names and edges of a random graph; a few edges stand there twice.
struct Plan {
  std::vector<std::string> names;
  std::vector<Line> lines;
};

Plan plan(int vertices) {
  std::mt19937 random(1);
  const auto below = [&](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  Plan made;
  for (int i = 0; i < vertices; ++i) made.names.push_back("node" + std::to_string(i));
  for (int i = 0; i < vertices * degree; ++i)
    made.lines.push_back({below(vertices), below(vertices), 1 + below(100)});
  return made;
}

// The names are the keys, on both sides: every line looks both ends up.
ZutGraph *buildOurs(const Plan &plan) {
  ZutGraph *graph = ZutGraphCreate();
  for (const std::string &name : plan.names) ZutGraphVertexAdd(graph, name.c_str());
  const auto vertex = [&](int i) {
    return ZutGraphVertexLookup(graph, plan.names[static_cast<size_t>(i)].c_str());
  };
  for (const Line &line : plan.lines)
    ZutGraphEdgeAdd(graph, vertex(line.from), vertex(line.to), 0, line.weight);
  return graph;
}

using Weight = boost::property<boost::edge_weight_t, int>;
using Name = boost::property<boost::vertex_name_t, const char *>;
// The lists' own test for parallel edges, or a test before each addition.
using Vectors = boost::adjacency_list<boost::vecS, boost::vecS, boost::directedS, Name, Weight>;
using Sets = boost::adjacency_list<boost::setS, boost::vecS, boost::directedS, Name, Weight>;

template <class Graph>
struct Named {
  Graph graph;
  std::unordered_map<const char *, typename Graph::vertex_descriptor> byName;
};

template <class Graph>
void add(Graph &graph, size_t from, size_t to, int weight) {
  if constexpr (std::is_same_v<Graph, Vectors>) {
    if (boost::edge(from, to, graph).second) return;
  }
  boost::add_edge(from, to, Weight(weight), graph);
}

template <class Graph>
void buildBoost(const Plan &plan, Named<Graph> &made) {
  for (const std::string &name : plan.names)
    made.byName[name.c_str()] = boost::add_vertex(Name(name.c_str()), made.graph);
  const auto vertex = [&](int i) {
    return made.byName.find(plan.names[static_cast<size_t>(i)].c_str())->second;
  };
  for (const Line &line : plan.lines)
    add(made.graph, vertex(line.from), vertex(line.to), line.weight);
}

auto buildingOurs(int vertices) {
  return [=, lines = plan(vertices)](benchmark::State &state) {
    for (auto _ : state) {
      ZutGraph *graph = buildOurs(lines);
      benchmark::DoNotOptimize(graph);
      state.PauseTiming();
      ZutGraphDestroy(graph);
      state.ResumeTiming();
    }
  };
}

template <class Graph>
auto buildingBoost(int vertices) {
  return [=, lines = plan(vertices)](benchmark::State &state) {
    for (auto _ : state) {
      auto made = std::make_unique<Named<Graph>>();
      buildBoost(lines, *made);
      benchmark::DoNotOptimize(made.get());
      state.PauseTiming();
      made.reset();
      state.ResumeTiming();
    }
  };
}

auto pathsOurs(int vertices) {
  return [=, lines = plan(vertices)](benchmark::State &state) {
    ZutGraph *graph = buildOurs(lines);
    size_t origin = 0;
    for (auto _ : state) {
      const std::string &name = lines.names[origin++ % lines.names.size()];
      ZutGraphSetShortPath(graph, ZutGraphVertexLookup(graph, name.c_str()));
    }
    ZutGraphDestroy(graph);
  };
}

// Without colours a vertex is new while its distance is infinite.
template <bool Colours>
auto pathsBoost(int vertices) {
  return [=, lines = plan(vertices)](benchmark::State &state) {
    Named<Vectors> made;
    buildBoost(lines, made);
    std::vector<int> distances(lines.names.size());
    std::vector<size_t> predecessors(lines.names.size());
    const auto results = boost::distance_map(distances.data()).predecessor_map(predecessors.data());
    size_t origin = 0;
    for (auto _ : state) {
      const size_t from = origin++ % lines.names.size();
      if constexpr (Colours) boost::dijkstra_shortest_paths(made.graph, from, results);
      else boost::dijkstra_shortest_paths_no_color_map(made.graph, from, results);
      benchmark::DoNotOptimize(distances.data());
    }
  };
}

void addSize(int vertices) {
  const std::string size = std::to_string(vertices);
  Row("graph: shortest paths", size)
      .ours(pathsOurs(vertices))
      .peer("Boost.Graph", pathsBoost<true>(vertices))
      .peer("Boost.Graph, no colours", pathsBoost<false>(vertices));
  Row("graph: building", size)
      .ours(buildingOurs(vertices))
      .peer("Boost.Graph, vectors", buildingBoost<Vectors>(vertices))
      .peer("Boost.Graph, sets", buildingBoost<Sets>(vertices));
}

} // namespace

void addRows() {
  for (int vertices : {100, 2000, 20000}) addSize(vertices);
}
