// Fibonacci heaps against boost::heap::fibonacci_heap. Nodes are made when they enter a heap and
// freed when they leave it, on both sides.
#include "support/row.h"
#include "zut.h"

#include <boost/heap/fibonacci_heap.hpp>

#include <algorithm>
#include <random>
#include <vector>

namespace {

std::vector<double> randomKeys(size_t count) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> keys(0.0, 1e6);
  std::vector<double> made(count);
  for (double &key : made) key = keys(random);
  return made;
}

// --- The two heaps with one interface; items are numbers, keys are in an array ---

class Ours {
public:
  Ours(std::vector<double> &keys) : keys_(keys), nodes_(keys.size()) {}
  ~Ours() { ZutFHeapDestroy(heap_); }
  void push(size_t item) {
    nodes_[item] = ZutFHeapNodeCreate(&keys_[item]);
    ZutFHeapInsert(heap_, nodes_[item]);
  }
  size_t pop() {
    ZutFHeapNode *node = ZutFHeapDeleteMin(heap_);
    const auto item = static_cast<size_t>(static_cast<double *>(node->key) - keys_.data());
    ZutFHeapNodeDestroy(node);
    return item;
  }
  void decrease(size_t item) { ZutFHeapDecreaseKey(heap_, nodes_[item]); }
  void update(size_t item) { ZutFHeapUpdateKey(heap_, nodes_[item]); }
  void erase(size_t item) {
    ZutFHeapDeleteNode(heap_, nodes_[item]);
    discard(item);
  }
  void discard(size_t item) { ZutFHeapNodeDestroy(nodes_[item]); } // the heap goes next
  size_t size() const { return static_cast<size_t>(ZutFHeapSize(heap_)); }

private:
  std::vector<double> &keys_;
  std::vector<ZutFHeapNode *> nodes_;
  ZutFHeap *heap_ = ZutFHeapCreate(Z_FHEAP_DOUBLE);
};

class Boost {
  struct Entry {
    double key;
    size_t item;
    bool operator<(const Entry &other) const { return key > other.key; } // the least on top
  };
  using Heap = boost::heap::fibonacci_heap<Entry>;

public:
  Boost(std::vector<double> &keys) : keys_(keys), handles_(keys.size()) {}
  void push(size_t item) { handles_[item] = heap_.push({keys_[item], item}); }
  size_t pop() {
    const size_t item = heap_.top().item;
    heap_.pop();
    return item;
  }
  void decrease(size_t item) { heap_.increase(handles_[item], {keys_[item], item}); }
  void update(size_t item) { heap_.update(handles_[item], {keys_[item], item}); }
  void erase(size_t item) { heap_.erase(handles_[item]); }
  void discard(size_t) {} // the heap's destructor does it
  size_t size() const { return heap_.size(); }

private:
  std::vector<double> &keys_;
  std::vector<Heap::handle_type> handles_;
  Heap heap_;
};

// --- The work ---

template <class Heap>
void fillAndDrain(benchmark::State &state) {
  std::vector<double> keys = randomKeys(100000);
  Heap heap(keys);
  for (auto _ : state) {
    for (size_t i = 0; i < keys.size(); ++i) heap.push(i);
    while (heap.size()) benchmark::DoNotOptimize(heap.pop());
  }
}

// Ten steps for each place, each one on a random item: one that is out comes in; of the others
// six in twelve get a lower key, two any key, two go, two make the least one go.
template <class Heap>
void randomMix(benchmark::State &state) {
  constexpr size_t count = 10000;
  const std::vector<double> fresh = randomKeys(11 * count);
  std::vector<uint32_t> choices(10 * count);
  std::mt19937 random(2);
  for (uint32_t &choice : choices) choice = static_cast<uint32_t>(random());
  std::vector<double> keys(count);
  for (auto _ : state) {
    Heap heap(keys);
    std::vector<char> inside(count, 1);
    for (size_t i = 0; i < count; ++i) {
      keys[i] = fresh[i];
      heap.push(i);
    }
    for (size_t i = 0; i < choices.size(); ++i) {
      const size_t item = choices[i] % count;
      const uint32_t kind = choices[i] / count % 12;
      const double key = fresh[count + i];
      if (!inside[item]) {
        keys[item] = key;
        heap.push(item);
        inside[item] = 1;
      } else if (kind < 6) {
        keys[item] -= key / 100;
        heap.decrease(item);
      } else if (kind < 8) {
        keys[item] = key;
        heap.update(item);
      } else if (kind < 10) {
        heap.erase(item);
        inside[item] = 0;
      } else {
        inside[heap.pop()] = 0;
      }
    }
    for (size_t i = 0; i < count; ++i) {
      if (inside[i]) heap.discard(i);
    }
  }
}

// Distances from a corner of a square grid with random weights between neighbours.
template <class Heap>
void dijkstra(benchmark::State &state) {
  constexpr size_t side = 300;
  const std::vector<double> weights = randomKeys(2 * side * side);
  std::vector<double> distances(side * side);
  for (auto _ : state) {
    Heap heap(distances);
    std::fill(distances.begin(), distances.end(), -1.0); // not met
    const auto meet = [&](size_t to, double distance) {
      if (distances[to] < 0.0) {
        distances[to] = distance;
        heap.push(to);
      } else if (distance < distances[to]) {
        distances[to] = distance;
        heap.decrease(to);
      }
    };
    meet(0, 0.0);
    while (heap.size()) {
      const size_t at = heap.pop();
      const size_t x = at % side, y = at / side;
      if (x + 1 < side) meet(at + 1, distances[at] + weights[2 * at]);
      if (x > 0) meet(at - 1, distances[at] + weights[2 * (at - 1)]);
      if (y + 1 < side) meet(at + side, distances[at] + weights[2 * at + 1]);
      if (y > 0) meet(at - side, distances[at] + weights[2 * (at - side) + 1]);
    }
    benchmark::DoNotOptimize(distances.data());
  }
}

} // namespace

void addRows() {
  Row("Fibonacci heap: fill and drain", "1e5")
      .ours(fillAndDrain<Ours>)
      .peer("boost::heap", fillAndDrain<Boost>);
  Row("Fibonacci heap: random mix", "1e4")
      .ours(randomMix<Ours>)
      .peer("boost::heap", randomMix<Boost>);
  Row("Fibonacci heap: shortest paths", "300 x 300 grid")
      .ours(dijkstra<Ours>)
      .peer("boost::heap", dijkstra<Boost>);
}
