#include "support/errors.h"

#include <cmath>
#include <map>
#include <random>
#include <set>

namespace {

int32_t Z_CALL compareInts(const void *a, const void *b) {
  const int32_t x = *static_cast<const int32_t *>(a), y = *static_cast<const int32_t *>(b);
  return x < y ? -1 : x > y;
}

const auto callersInts = reinterpret_cast<ZutWord>(compareInts);

// A heap of named nodes, whose trees can be written down: "a(b c!(d)) e", '!' for a mark.
struct Forest {
  struct Item {
    int32_t key;
    char name;
    ZutFHeapNode *node;
  };
  ZutFHeap *heap;
  std::map<char, Item> items;

  explicit Forest(ZutWord kind) : heap(ZutFHeapCreate(kind)) {}
  ~Forest() {
    for (auto &[name, item] : items) ZutFHeapNodeDestroy(item.node);
    EXPECT_EQ(ZutFHeapDestroy(heap), 1);
  }
  // The names get the keys from `key` on.
  void insert(const std::string &names, int32_t key = 1) {
    for (char name : names) {
      Item &item = items[name] = {key++, name, nullptr};
      item.node = ZutFHeapNodeCreate(&item);
      EXPECT_EQ(ZutFHeapInsert(heap, item.node), 1);
    }
  }
  std::string rekey(char name, int32_t key, decltype(ZutFHeapUpdateKey) operation) {
    items[name].key = key;
    EXPECT_EQ(operation(heap, items[name].node), 1);
    return shape();
  }
  std::string deleteMin(char name) {
    EXPECT_EQ(ZutFHeapDeleteMin(heap), items[name].node);
    return shape();
  }
  std::string shape() const {
    const ZutFHeapNode *top = ZutFHeapTop(heap);
    return top ? ring(top) : "";
  }
  static std::string ring(const ZutFHeapNode *first) {
    std::string text;
    const ZutFHeapNode *node = first;
    do {
      if (node != first) text += ' ';
      text += static_cast<Item *>(node->key)->name;
      if (node->mark) text += '!';
      if (node->child) text += '(' + ring(node->child) + ')';
      node = node->right;
    } while (node != first);
    return text;
  }
};

// Checks a ring and all below it. Returns the number of nodes.
int32_t check(const ZutFHeapNode *first, const ZutFHeapNode *parent) {
  int32_t all = 0, siblings = 0;
  const ZutFHeapNode *node = first;
  do {
    EXPECT_TRUE(node->right->left == node && node->parent == parent && !(node->mark & ~1));
    EXPECT_TRUE(!parent || node->known_key >= parent->known_key);
    EXPECT_EQ(!node->child, !node->degree);
    all += 1 + (node->child ? check(node->child, node) : 0);
    ++siblings;
    node = node->right;
  } while (node != first);
  EXPECT_TRUE(!parent || parent->degree == siblings);
  return all;
}

// Random work on two heaps that share their nodes, against a multiset of keys for each.
template <class Key>
void storm(ZutWord kind, int operations) {
  struct Item {
    Key key;
    ZutFHeapNode *node;
    int heap; // -1: none
  };
  std::mt19937 random(1);
  const auto below = [&](uint32_t n) { return static_cast<int>(random() % n); };
  std::vector<Item> items(2000);
  for (Item &item : items) item = {Key{}, ZutFHeapNodeCreate(&item.key), -1};
  ZutFHeap *heaps[2] = {ZutFHeapCreate(kind), ZutFHeapCreate(kind)};
  std::multiset<Key> expected[2];
  const auto move = [&](Item &item, int heap, Key key) {
    if (item.heap >= 0) expected[item.heap].erase(expected[item.heap].find(item.key));
    if (heap >= 0) expected[heap].insert(key);
    item = {key, item.node, heap};
  };
  for (int i = 0; i < operations; ++i) {
    Item &item = items[static_cast<size_t>(below(2000))];
    const Key key = static_cast<Key>(below(5000)) - static_cast<Key>(2500); // wraps when unsigned
    ZutFHeap *heap = item.heap < 0 ? nullptr : heaps[item.heap];
    const int choice = below(100);
    if (!heap) {
      move(item, below(2), key);
      ASSERT_EQ(ZutFHeapInsert(heaps[item.heap], item.node), 1);
    } else if (choice < 30) {
      Item &least = *static_cast<Item *>(ZutFHeapDeleteMin(heap)->key);
      ASSERT_EQ(least.key, *expected[item.heap].begin());
      move(least, -1, least.key);
    } else if (choice < 60) {
      move(item, item.heap, std::min(key, item.key));
      ASSERT_EQ(ZutFHeapDecreaseKey(heap, item.node), 1);
    } else if (choice < 85 && item.node != ZutFHeapTop(heap)) { // the top: see UpdatingTheTop
      move(item, item.heap, key);
      ASSERT_EQ(ZutFHeapUpdateKey(heap, item.node), 1);
    } else if (choice < 99 || below(20)) {
      ASSERT_EQ(ZutFHeapDeleteNode(heap, item.node), 1);
      move(item, -1, item.key);
    } else {
      ASSERT_EQ(ZutFHeapMigrate(heaps[0], heaps[1]), 1);
      for (Item &other : items) {
        if (other.heap == 0) move(other, 1, other.key);
      }
    }
    for (int h : {0, 1}) {
      const ZutFHeapNode *top = ZutFHeapTop(heaps[h]);
      ASSERT_EQ(ZutFHeapSize(heaps[h]), static_cast<int32_t>(expected[h].size()));
      ASSERT_EQ(!top, expected[h].empty());
      if (!top) continue;
      ASSERT_EQ(*static_cast<Key *>(top->key), *expected[h].begin());
      ASSERT_TRUE(i % 500 || check(top, nullptr) == ZutFHeapSize(heaps[h]));
    }
  }
  for (ZutFHeap *heap : heaps) ZutFHeapDestroy(heap);
  for (const Item &item : items) ZutFHeapNodeDestroy(item.node);
}

} // namespace

TEST(FHeap, AgreesWithAMultiset) {
  storm<double>(Z_FHEAP_DOUBLE, 100000);
  storm<int32_t>(Z_FHEAP_INT, 50000);
  storm<uint32_t>(Z_FHEAP_UINT, 50000);
  storm<int32_t>(callersInts, 50000);
}

// New roots stand to the left of the top, children to the right of the first; consolidation goes
// from the top to the right. Of trees with equal keys the one that comes first goes above in the
// ready-made kinds, below with a function.
TEST(FHeap, OrderOfRootsAndChildren) {
  for (const bool ready : {true, false}) {
    Forest forest(ready ? Z_FHEAP_INT : callersInts);
    const std::string tied = ready ? "h(g) f b" : "g(h) f b";
    forest.insert("abcdefghi");
    EXPECT_EQ(forest.shape(), "a b c d e f g h i");
    EXPECT_EQ(forest.deleteMin('a'), "b(c f(g h(i)) d(e))");
    EXPECT_EQ(forest.rekey('i', 0, ZutFHeapDecreaseKey), "i b(c f(g h!) d(e))");
    EXPECT_EQ(forest.rekey('h', 0, ZutFHeapDecreaseKey), "i b(c f!(g) d(e)) h");
    EXPECT_EQ(forest.rekey('g', 0, ZutFHeapDecreaseKey), "i b(d(e) c) h g f"); // f lost a second
    EXPECT_EQ(forest.deleteMin('i'), tied + "(d(e) c)");
    EXPECT_EQ(forest.rekey('b', 20, ZutFHeapUpdateKey), tied + " d(e) c");
    EXPECT_EQ(ZutFHeapDeleteNode(forest.heap, forest.items['d'].node), 1);
    EXPECT_EQ(forest.shape(), tied + " c e");
    static std::string visited;
    visited.clear();
    const auto visit = [](ZutFHeap *, void *key, ZutWord last) {
      visited += static_cast<Forest::Item *>(key)->name;
      return int32_t{visited.back() == last};
    };
    EXPECT_EQ(ZutFHeapTraverse(forest.heap, visit, 'c'), 1);
    EXPECT_EQ(visited, ready ? "hgfbc" : "ghfbc");
  }
}

TEST(FHeap, UpdatingTheTop) {
  Forest forest(Z_FHEAP_INT);
  forest.insert("a");
  EXPECT_EQ(forest.rekey('a', 9, ZutFHeapUpdateKey), "a"); // alone it stays
  forest.insert("bcd", 10);
  EXPECT_EQ(forest.rekey('a', 1, ZutFHeapUpdateKey), "b(c) d a"); // another although it is greater
  EXPECT_EQ(forest.deleteMin('b'), "a(d) c");                     // now it counts again
  EXPECT_EQ(forest.rekey('a', 0, ZutFHeapDecreaseKey), "a(d) c");
}

TEST(FHeap, BadKeysLoseNoNodes) {
  double keys[100];
  ZutFHeap *heap = ZutFHeapCreate(Z_FHEAP_DOUBLE);
  for (int i = 0; i < 100; ++i) {
    keys[i] = i % 7 == 0 ? NAN : i % 7 == 1 ? -INFINITY : i;
    ZutFHeapInsert(heap, ZutFHeapNodeCreate(&keys[i]));
    keys[i / 2] = -i; // unannounced
  }
  int count = 0;
  for (; ZutFHeapNode *node = ZutFHeapDeleteMin(heap); ++count) ZutFHeapNodeDestroy(node);
  EXPECT_EQ(count, 100);
  ZutFHeapDestroy(heap);
}

TEST(FHeap, Migration) {
  Forest ints(Z_FHEAP_INT), callers(callersInts);
  callers.insert("cab");
  EXPECT_EQ(ZutFHeapMigrate(ints.heap, callers.heap), 1); // nothing to move
  EXPECT_EQ(ZutFHeapMigrate(callers.heap, callers.heap), 1);
  EXPECT_EQ(callers.shape(), "c a b");
  EXPECT_EQ(ZutFHeapMigrate(callers.heap, ints.heap), 1);
  EXPECT_EQ(ints.shape() + callers.shape(), "c a b");
  callers.insert("ed", -9); // keys that no ready-made kind has read yet
  EXPECT_EQ(ZutFHeapMigrate(callers.heap, ints.heap), 1);
  EXPECT_EQ(ints.shape(), "e d c a b");
  EXPECT_EQ(ZutFHeapSize(ints.heap) * 10 + ZutFHeapSize(callers.heap), 50);
}

TEST(FHeap, FieldsOfANode) {
  Forest forest(Z_FHEAP_INT);
  forest.insert("abcde");
  forest.deleteMin('a');
  ASSERT_EQ(forest.rekey('e', 0, ZutFHeapDecreaseKey), "e b(c d!)");
  ZutFHeapNode *b = forest.items['b'].node, *c = forest.items['c'].node,
               *d = forest.items['d'].node;
  void *key, *child, *parent, *left, *right;
  int32_t mark, degree, other = 1;
  EXPECT_EQ(ZutFHeapNodeVaGet(b, Z_FHEAP_NODE_CHILD, &child, Z_FHEAP_NODE_DEGREE, &degree, 0), 1);
  EXPECT_TRUE(child == c && degree == 2);
  EXPECT_ERROR(12, ZutFHeapNodeVaGet(d, Z_FHEAP_NODE_PARENT, &parent, 8, &child, Z_FHEAP_NODE_LEFT,
                                     &left, Z_FHEAP_NODE_RIGHT, &right, Z_FHEAP_NODE_KEY, &key,
                                     Z_FHEAP_NODE_MARK, &mark, 0));
  EXPECT_TRUE(parent == b && left == c && right == c && key == &forest.items['d'] && mark == 1);
  EXPECT_ERROR(3, ZutFHeapNodeVaGet(d, Z_FHEAP_NODE_MARK, nullptr, Z_FHEAP_NODE_MARK, &other, 0));
  EXPECT_ERROR(7, ZutFHeapNodeVaSet(b, Z_FHEAP_NODE_MARK, &other, Z_FHEAP_NODE_KEY, b->key, 0));
  EXPECT_EQ(ZutFHeapDeleteNode(forest.heap, d), 1);
  EXPECT_TRUE(d->left == d && d->right == d && !d->parent && !d->mark);
  for (const auto operation : {ZutFHeapDeleteNode, ZutFHeapDecreaseKey, ZutFHeapUpdateKey})
    EXPECT_ERROR(8, operation(forest.heap, d)); // in no heap
  EXPECT_EQ(forest.shape(), "e b(c)");
}
