#include "support/child.h"

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

int32_t Z_CALL compareInts(const void *a, const void *b) {
  const int32_t x = *static_cast<const int32_t *>(a), y = *static_cast<const int32_t *>(b);
  return x < y ? -1 : x > y;
}

const auto callersInts = reinterpret_cast<ZutWord>(compareInts);

// Nodes with names, whose trees can be written down: "a(b c!(d)) e", '!' for a mark.
struct Forest {
  struct Item {
    int32_t key;
    char name;
    ZutFHeapNode *node;
  };
  std::map<char, Item> items;

  ~Forest() {
    for (auto &[name, item] : items) ZutFHeapNodeDestroy(item.node);
  }
  void insert(ZutFHeap *heap, const std::string &names, int32_t key, int32_t step) {
    for (char name : names) {
      Item &item = items[name] = {key, name, nullptr};
      item.node = ZutFHeapNodeCreate(&item);
      EXPECT_EQ(ZutFHeapInsert(heap, item.node), 1);
      key += step;
    }
  }
  ZutFHeapNode *operator[](char name) { return items[name].node; }
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

std::string shape(ZutFHeap *heap) {
  const ZutFHeapNode *top = ZutFHeapTop(heap);
  return top ? Forest::ring(top) : "";
}

// Checks a ring and all below it. Gives the number of nodes in the ring; `all` counts every node.
int32_t check(const ZutFHeapNode *first, const ZutFHeapNode *parent, int32_t &all) {
  int32_t siblings = 0;
  const ZutFHeapNode *node = first;
  do {
    ++all, ++siblings;
    EXPECT_EQ(node->right->left, node);
    EXPECT_EQ(node->parent, parent);
    EXPECT_TRUE(!parent || node->known_key >= parent->known_key);
    EXPECT_EQ(node->mark & ~1, 0);
    EXPECT_EQ(node->child ? check(node->child, node, all) : 0, node->degree);
    node = node->right;
  } while (node != first);
  return siblings;
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
    item.heap = heap;
    item.key = key;
    if (heap >= 0) expected[heap].insert(key);
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
      if (i % 500) continue;
      int32_t all = 0;
      check(top, nullptr, all);
      ASSERT_EQ(all, ZutFHeapSize(heaps[h]));
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
    Forest forest;
    ZutFHeap *heap = ZutFHeapCreate(ready ? Z_FHEAP_INT : callersInts);
    const auto lower = [&](char name) {
      forest.items[name].key = 0;
      EXPECT_EQ(ZutFHeapDecreaseKey(heap, forest[name]), 1);
      return shape(heap);
    };
    const std::string tied = ready ? "h(g) f b" : "g(h) f b";
    forest.insert(heap, "abcdefghi", 1, 1);
    EXPECT_EQ(shape(heap), "a b c d e f g h i");
    EXPECT_EQ(ZutFHeapDeleteMin(heap), forest['a']);
    EXPECT_EQ(shape(heap), "b(c f(g h(i)) d(e))");
    EXPECT_EQ(lower('i'), "i b(c f(g h!) d(e))");
    EXPECT_EQ(lower('h'), "i b(c f!(g) d(e)) h");
    EXPECT_EQ(lower('g'), "i b(d(e) c) h g f"); // f lost its second child
    EXPECT_EQ(ZutFHeapDeleteMin(heap), forest['i']);
    EXPECT_EQ(shape(heap), tied + "(d(e) c)");
    forest.items['b'].key = 20;
    EXPECT_EQ(ZutFHeapUpdateKey(heap, forest['b']), 1);
    EXPECT_EQ(shape(heap), tied + " d(e) c");
    EXPECT_EQ(ZutFHeapDeleteNode(heap, forest['d']), 1);
    EXPECT_EQ(shape(heap), tied + " c e");
    std::string visited;
    const auto visit = [](ZutFHeap *, void *key, ZutWord text) {
      const char name = static_cast<Forest::Item *>(key)->name;
      *reinterpret_cast<std::string *>(text) += name;
      return int32_t{name == 'c'};
    };
    EXPECT_EQ(ZutFHeapTraverse(heap, visit, reinterpret_cast<ZutWord>(&visited)), 1);
    EXPECT_EQ(visited, ready ? "hgfbc" : "ghfbc");
    ZutFHeapDestroy(heap);
  }
}

TEST(FHeap, UpdatingTheTop) {
  Forest forest;
  ZutFHeap *heap = ZutFHeapCreate(Z_FHEAP_INT);
  const auto update = [&](int32_t key) {
    forest.items['a'].key = key;
    EXPECT_EQ(ZutFHeapUpdateKey(heap, forest['a']), 1);
    return shape(heap);
  };
  forest.insert(heap, "a", 5, 0);
  EXPECT_EQ(update(9), "a"); // alone it stays
  forest.insert(heap, "bcd", 10, 1);
  EXPECT_EQ(update(1), "b(c) d a"); // another comes up, although it is greater
  EXPECT_EQ(ZutFHeapSize(heap), 4);
  EXPECT_EQ(ZutFHeapDeleteMin(heap), forest['b']);
  EXPECT_EQ(shape(heap), "a(d) c"); // now it counts again
  forest.items['a'].key = 0;
  EXPECT_EQ(ZutFHeapDecreaseKey(heap, forest['a']), 1);
  EXPECT_EQ(shape(heap), "a(d) c");
  ZutFHeapDestroy(heap);
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
  Forest forest;
  ZutFHeap *ints = ZutFHeapCreate(Z_FHEAP_INT), *callers = ZutFHeapCreate(callersInts);
  forest.insert(callers, "cab", 0, 0);
  EXPECT_EQ(ZutFHeapMigrate(ints, callers), 1); // nothing to move
  EXPECT_EQ(ZutFHeapMigrate(callers, callers), 1);
  EXPECT_EQ(shape(callers), "c a b");
  EXPECT_EQ(ZutFHeapMigrate(callers, ints), 1);
  EXPECT_EQ(shape(ints), "c a b");
  EXPECT_EQ(shape(callers), "");
  EXPECT_EQ(ZutFHeapSize(callers), 0);
  forest.insert(callers, "de", 7, -20);
  EXPECT_EQ(ZutFHeapMigrate(callers, ints), 1); // keys that no ready-made kind has read yet
  EXPECT_EQ(shape(ints), "e d c a b");
  EXPECT_EQ(ZutFHeapSize(ints), 5);
  ZutFHeapDestroy(ints);
  ZutFHeapDestroy(callers);
}

TEST(FHeap, FieldsOfANode) {
  Forest forest;
  ZutFHeap *heap = ZutFHeapCreate(Z_FHEAP_INT);
  forest.insert(heap, "abcde", 1, 1);
  ZutFHeapDeleteMin(heap);
  forest.items['e'].key = 0;
  ZutFHeapDecreaseKey(heap, forest['e']);
  ASSERT_EQ(shape(heap), "e b(c d!)");
  ZutFHeapNode *b = forest['b'], *c = forest['c'], *d = forest['d'];
  void *key, *child, *parent, *left, *right;
  int32_t mark, degree, other = 1;
  EXPECT_EQ(ZutFHeapNodeVaGet(b, Z_FHEAP_NODE_CHILD, &child, Z_FHEAP_NODE_DEGREE, &degree, 0), 1);
  EXPECT_TRUE(child == c && degree == 2);
  EXPECT_EQ(ZutFHeapNodeVaGet(d, Z_FHEAP_NODE_PARENT, &parent, 8, &child, Z_FHEAP_NODE_LEFT, &left,
                              Z_FHEAP_NODE_RIGHT, &right, Z_FHEAP_NODE_KEY, &key, Z_FHEAP_NODE_MARK,
                              &mark, 0),
            0);
  EXPECT_EQ(ZutErrNumGet(), 12);
  EXPECT_TRUE(parent == b && left == c && right == c && key == &forest.items['d'] && mark == 1);
  EXPECT_EQ(ZutFHeapNodeVaGet(d, Z_FHEAP_NODE_MARK, nullptr, Z_FHEAP_NODE_MARK, &other, 0), 0);
  EXPECT_EQ(ZutErrNumGet(), 3);
  EXPECT_EQ(ZutFHeapNodeVaSet(b, Z_FHEAP_NODE_MARK, &other, Z_FHEAP_NODE_KEY, b->key, 0), 0);
  EXPECT_EQ(ZutErrNumGet(), 7);
  EXPECT_EQ(ZutFHeapDeleteNode(heap, d), 1);
  EXPECT_TRUE(d->left == d && d->right == d && !d->parent && !d->mark);
  for (const auto operation : {ZutFHeapDeleteNode, ZutFHeapDecreaseKey, ZutFHeapUpdateKey}) {
    EXPECT_EQ(operation(heap, d), 0); // in no heap
    EXPECT_EQ(ZutErrNumGet(), 8);
  }
  EXPECT_EQ(shape(heap), "e b(c)");
  ZutFHeapDestroy(heap);
}
