// Fibonacci heaps: heap-ordered trees whose roots form a ring, entered at `min`.
//
// The order of roots and children is part of the contract: a new root goes to the left of min, a
// new child to the right of its parent's `child`, and consolidation takes the roots from min to the
// right.
//
// A node caches its key as a double, which is exact for the keys of the three ready-made kinds. So
// one comparison serves all three and reads only the nodes.
//
// Invariants: a node's degree is the number of its children; a node that is not a root has lost at
// most one child since it became a child, so that degrees stay below twice the bits of the size.
#include "base/check.h"
#include "base/errword.h"
#include "base/memory.h"

#include <bit>
#include <cstdarg>

using Node = ZutFHeapNode;

struct ZutFHeap {
  ZutWord compare;
  Node *min; // null: empty
  uint32_t size;
  Node **consolidate_array; // by degree, in use while consolidating
  int32_t consolidate_size;
};

namespace {

// --- Keys ---

// Equal keys count as greater.
struct KnownKeys {
  bool less(const Node *a, const Node *b) const { return a->known_key < b->known_key; }
  bool greater(const Node *a, const Node *b) const { return !less(a, b); }
};

struct CallersKeys {
  ZutFHeapCompareFunc compare;
  bool less(const Node *a, const Node *b) const { return compare(a->key, b->key) < 0; }
  bool greater(const Node *a, const Node *b) const { return compare(a->key, b->key) > 0; }
};

// Runs an operation with the heap's comparison.
template <class Operation>
auto inOrder(const ZutFHeap &heap, Operation operation) {
  switch (heap.compare) {
  case Z_FHEAP_DOUBLE:
  case Z_FHEAP_INT:
  case Z_FHEAP_UINT: return operation(KnownKeys{});
  default: return operation(CallersKeys{reinterpret_cast<ZutFHeapCompareFunc>(heap.compare)});
  }
}

template <class T>
double load(const void *key) {
  T value;
  std::memcpy(&value, key, sizeof value);
  return value;
}

void readKey(const ZutFHeap &heap, Node *node) {
  switch (heap.compare) {
  case Z_FHEAP_DOUBLE: node->known_key = load<double>(node->key); break;
  case Z_FHEAP_INT: node->known_key = load<int32_t>(node->key); break;
  case Z_FHEAP_UINT: node->known_key = load<uint32_t>(node->key); break;
  }
}

// --- Rings and trees ---

void reset(Node *node) {
  node->left = node->right = node;
  node->child = node->parent = nullptr;
  node->degree = node->mark = 0;
}

void insertBetween(Node *left, Node *node, Node *right) {
  node->left = left;
  node->right = right;
  left->right = node;
  right->left = node;
}

void unlink(Node *node) {
  utCheck(node->left->right == node && node->right->left == node);
  node->left->right = node->right;
  node->right->left = node->left;
}

void addRoot(ZutFHeap &heap, Node *node) {
  if (heap.min) {
    insertBetween(heap.min->left, node, heap.min);
  } else {
    node->left = node->right = node;
    heap.min = node;
  }
}

void makeChild(Node *node, Node *parent) {
  node->parent = parent;
  node->mark = 0;
  if (Node *child = parent->child) {
    insertBetween(child, node, child->right);
  } else {
    node->left = node->right = node;
    parent->child = node;
  }
}

void cutToRoots(ZutFHeap &heap, Node *node, Node *parent) {
  utCheck(parent && parent->degree > 0 && parent->child);
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): every child has its parent
  parent->child = --parent->degree ? node->right : nullptr;
  unlink(node);
  addRoot(heap, node);
  node->parent = nullptr;
  node->mark = 0;
}

// `node` has just lost a child.
void cascade(ZutFHeap &heap, Node *node) {
  while (Node *parent = node->parent) {
    if (!node->mark) {
      node->mark = 1;
      return;
    }
    cutToRoots(heap, node, parent);
    node = parent;
  }
}

void detach(ZutFHeap &heap, Node *node) {
  Node *parent = node->parent;
  cutToRoots(heap, node, parent);
  cascade(heap, parent);
}

// May make the node a root.
void releaseChildren(ZutFHeap &heap, Node *node) {
  while (node->child) detach(heap, node->child);
}

// Makes a root that compares less than min the new min.
template <class Order>
void raise(ZutFHeap &heap, Node *node, Order order) {
  if (!node->parent && node != heap.min && order.less(node, heap.min)) heap.min = node;
}

// --- Consolidation ---

void growPlaces(ZutFHeap &heap) {
  const int32_t wanted = 2 * std::bit_width(heap.size) + 1;
  if (heap.consolidate_size >= wanted) return;
  heap.consolidate_array = static_cast<Node **>(
      Z_REALLOC(heap.consolidate_array, wanted * static_cast<int32_t>(sizeof(Node *)),
                "h->consolidate_array"));
  heap.consolidate_size = wanted;
}

// Branch-free: the condition is unpredictable.
void swapIf(bool condition, Node *&a, Node *&b) {
  const uintptr_t difference = (reinterpret_cast<uintptr_t>(a) ^ reinterpret_cast<uintptr_t>(b)) &
                               -static_cast<uintptr_t>(condition);
  a = reinterpret_cast<Node *>(reinterpret_cast<uintptr_t>(a) ^ difference);
  b = reinterpret_cast<Node *>(reinterpret_cast<uintptr_t>(b) ^ difference);
}

// At most one tree of each degree. A place is valid only where its bit is set.
template <class Order>
struct Places {
  Node **trees;
  int32_t size;
  Order order;
  uint64_t used;

  void add(Node *node) {
    int32_t degree = node->degree;
    for (; used >> degree & 1; ++degree) {
      Node *other = trees[degree];
      used &= ~(uint64_t{1} << degree);
      swapIf(order.greater(node, other), node, other);
      makeChild(other, node);
      node->degree = degree + 1;
    }
    utCheck(degree < size);
    trees[degree] = node;
    used |= uint64_t{1} << degree;
  }

  // Makes the trees the roots, in the order of their degrees.
  void moveTo(ZutFHeap &heap) {
    heap.min = nullptr;
    for (; used; used &= used - 1) {
      Node *node = trees[std::countr_zero(used)];
      addRoot(heap, node);
      raise(heap, node, order);
    }
  }
};

// Removes min from the roots, makes its children roots, and finds the next min. Leaves the old
// min's own fields and the size alone.
template <class Order>
void extract(ZutFHeap &heap, Order order) {
  Node *const old = heap.min;
  if (heap.size < 2) {
    heap.min = nullptr;
    return;
  }
  growPlaces(heap);
  Places<Order> places = {heap.consolidate_array, heap.consolidate_size, order, 0};
  for (Node *node = old->right, *next; node != old; node = next) {
    next = node->right;
    places.add(node);
  }
  if (Node *const first = old->child) {
    Node *node = first;
    do {
      Node *const next = node->right;
      node->parent = nullptr;
      places.add(node);
      node = next;
    } while (node != first);
  }
  places.moveTo(heap);
}

// --- Operations ---

bool isOutside(const ZutFHeap &heap, const Node *node) {
  return node->right == node && !node->parent && node != heap.min;
}

template <class Order>
Node *deleteMin(ZutFHeap &heap, Order order) {
  Node *const node = heap.min;
  extract(heap, order);
  reset(node);
  --heap.size;
  utCheck(!heap.size == !heap.min);
  return node;
}

void deleteOther(ZutFHeap &heap, Node *node) {
  releaseChildren(heap, node);
  if (node->parent) detach(heap, node);
  utCheck(!node->child && heap.min != node);
  unlink(node);
  reset(node);
  --heap.size;
}

// The next node in the order of visits: children first, then to the right. Null after the last.
Node *following(const ZutFHeap &heap, const Node *node) {
  if (node->child) return node->child;
  for (; node; node = node->parent) {
    const Node *first = node->parent ? node->parent->child : heap.min;
    if (node->right != first) return node->right;
  }
  return nullptr;
}

int32_t getField(const Node &node, int32_t attribute, void *out) {
  const auto pointer = [out](void *value) { *static_cast<void **>(out) = value; };
  const auto number = [out](int32_t value) { *static_cast<int32_t *>(out) = value; };
  switch (attribute) {
  case Z_FHEAP_NODE_KEY: pointer(node.key); break;
  case Z_FHEAP_NODE_MARK: number(node.mark); break;
  case Z_FHEAP_NODE_CHILD: pointer(node.child); break;
  case Z_FHEAP_NODE_PARENT: pointer(node.parent); break;
  case Z_FHEAP_NODE_LEFT: pointer(node.left); break;
  case Z_FHEAP_NODE_RIGHT: pointer(node.right); break;
  case Z_FHEAP_NODE_DEGREE: number(node.degree); break;
  default: return utFail(Err::unknown);
  }
  return 1;
}

int32_t setField(Node &node, int32_t attribute, void *value) {
  if (attribute != Z_FHEAP_NODE_KEY) return utFail(Err::invalid);
  node.key = value;
  return 1;
}

// Calls function(attribute, value) for each pair of a list ended by 0; stops at a null value.
template <class Function>
int32_t forPairs(va_list args, Function function) {
  int32_t result = 1;
  while (const int32_t attribute = va_arg(args, int)) {
    void *value = va_arg(args, void *);
    if (!value) return utFail(Err::nullPointer);
    if (!function(attribute, value)) result = 0;
  }
  return result;
}

} // namespace

extern "C" {

ZutFHeap *Z_CALL ZutFHeapCreate(ZutWord compare) {
  if (!compare) return utFailNull(Err::nullPointer);
  auto *heap = utNew<ZutFHeap>("p");
  heap->compare = compare;
  heap->consolidate_array = utNewArray<Node *>(1, "p->consolidate_array");
  heap->consolidate_size = 1;
  return heap;
}

int32_t Z_CALL ZutFHeapDestroy(ZutFHeap *heap) {
  if (!heap) return utFail(Err::nullPointer);
  Z_FREE(heap->consolidate_array, "h->consolidate_array");
  Z_FREE(heap, "h");
  return 1;
}

ZutFHeapNode *Z_CALL ZutFHeapNodeCreate(void *key) {
  if (!key) return utFailNull(Err::nullPointer);
  auto *node = static_cast<Node *>(Z_MALLOC(sizeof(Node), "node"));
  *node = {};
  node->left = node->right = node;
  node->key = key;
  return node;
}

int32_t Z_CALL ZutFHeapNodeDestroy(ZutFHeapNode *node) {
  if (!node) return utFail(Err::nullPointer);
  Z_FREE(node, "node");
  return 1;
}

int32_t Z_CALL ZutFHeapNodeGet(ZutFHeapNode *node, int32_t attribute, void *value_out) {
  if (!node || !value_out) return utFail(Err::nullPointer);
  return getField(*node, attribute, value_out);
}

int32_t Z_CALL ZutFHeapNodeVaGet(ZutFHeapNode *node, ...) {
  if (!node) return utFail(Err::nullPointer);
  va_list args;
  va_start(args, node);
  const int32_t result = forPairs(
      args, [node](int32_t attribute, void *out) { return getField(*node, attribute, out); });
  va_end(args);
  return result;
}

int32_t Z_CALL ZutFHeapNodeSet(ZutFHeapNode *node, int32_t attribute, void *value) {
  if (!node || !value) return utFail(Err::nullPointer);
  return setField(*node, attribute, value);
}

int32_t Z_CALL ZutFHeapNodeVaSet(ZutFHeapNode *node, ...) {
  if (!node) return utFail(Err::nullPointer);
  va_list args;
  va_start(args, node);
  const int32_t result = forPairs(
      args, [node](int32_t attribute, void *value) { return setField(*node, attribute, value); });
  va_end(args);
  return result;
}

int32_t Z_CALL ZutFHeapInsert(ZutFHeap *heap, ZutFHeapNode *node) {
  if (!heap || !node) return utFail(Err::nullPointer);
  reset(node);
  readKey(*heap, node);
  addRoot(*heap, node);
  inOrder(*heap, [=](auto order) { raise(*heap, node, order); });
  ++heap->size;
  return 1;
}

ZutFHeapNode *Z_CALL ZutFHeapTop(ZutFHeap *heap) {
  return heap ? heap->min : utFailNull(Err::nullPointer);
}

ZutFHeapNode *Z_CALL ZutFHeapDeleteMin(ZutFHeap *heap) {
  if (!heap) return utFailNull(Err::nullPointer);
  if (!heap->min) return nullptr;
  return inOrder(*heap, [=](auto order) { return deleteMin(*heap, order); });
}

int32_t Z_CALL ZutFHeapDeleteNode(ZutFHeap *heap, ZutFHeapNode *node) {
  if (!heap || !node) return utFail(Err::nullPointer);
  if (isOutside(*heap, node)) return utFail(Err::notFound);
  if (node == heap->min) ZutFHeapDeleteMin(heap);
  else deleteOther(*heap, node);
  return 1;
}

int32_t Z_CALL ZutFHeapDecreaseKey(ZutFHeap *heap, ZutFHeapNode *node) {
  if (!heap || !node) return utFail(Err::nullPointer);
  if (isOutside(*heap, node)) return utFail(Err::notFound);
  readKey(*heap, node);
  if (node == heap->min) return 1;
  inOrder(*heap, [=](auto order) {
    if (node->parent && order.less(node, node->parent)) detach(*heap, node);
    raise(*heap, node, order);
  });
  return 1;
}

// A node that was min becomes a root again without a comparison. Kept: see zut.h.
int32_t Z_CALL ZutFHeapUpdateKey(ZutFHeap *heap, ZutFHeapNode *node) {
  if (!heap || !node) return utFail(Err::nullPointer);
  if (isOutside(*heap, node)) return utFail(Err::notFound);
  readKey(*heap, node);
  inOrder(*heap, [=](auto order) {
    if (node == heap->min) {
      extract(*heap, order);
      reset(node);
      addRoot(*heap, node);
      return;
    }
    if (node->parent && order.less(node, node->parent)) detach(*heap, node);
    else releaseChildren(*heap, node);
    raise(*heap, node, order);
  });
  return 1;
}

int32_t Z_CALL ZutFHeapMigrate(ZutFHeap *source, ZutFHeap *destination) {
  if (!source || !destination) return utFail(Err::nullPointer);
  Node *const moved = source->min;
  if (!moved || source == destination) return 1;
  if (source->compare != destination->compare) {
    for (Node *node = moved; node; node = following(*source, node)) readKey(*destination, node);
  }
  if (Node *const min = destination->min) {
    std::swap(moved->left->right, min->left->right);
    std::swap(moved->left, min->left);
    inOrder(*destination, [=](auto order) { raise(*destination, moved, order); });
  } else {
    destination->min = moved;
  }
  destination->size += source->size;
  source->min = nullptr;
  source->size = 0;
  return 1;
}

int32_t Z_CALL ZutFHeapSize(ZutFHeap *heap) {
  if (!heap) return utFail(Err::nullPointer);
  return static_cast<int32_t>(heap->size);
}

int32_t Z_CALL ZutFHeapTraverse(ZutFHeap *heap, ZutFHeapTraverseFunc function, ZutWord argument) {
  if (!heap || !function) return utFail(Err::nullPointer);
  for (Node *node = heap->min; node; node = following(*heap, node)) {
    if (const int32_t result = function(heap, node->key, argument)) return result;
  }
  return 0;
}

} // extern "C"
