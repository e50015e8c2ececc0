// Deques of items: nodes that the library allocates, each with one word.
#include "containers/deque.h"

namespace {

// The first node with an item, or null.
ZutPdqNode *find(ZutDqNode *deque, ZutWord item) {
  for (ZutDqNode *node = deque->right; node != deque; node = node->right) {
    auto *found = reinterpret_cast<ZutPdqNode *>(node); // the links are its first field
    if (found->item == item) return found;
  }
  return nullptr;
}

} // namespace

extern "C" {

ZutPdqNode *Z_CALL ZutAddPdqNode(ZutDqNode *deque, ZutWord item) {
  auto *node = static_cast<ZutPdqNode *>(Z_MALLOC(sizeof(ZutPdqNode), "pdqp"));
  node->item = item;
  ZutDqRightInsert(&node->links, deque);
  return node;
}

ZutPdqNode *Z_CALL ZutFindPdqNode(ZutDqNode *deque, ZutWord item) { return find(deque, item); }

int32_t Z_CALL ZutDeletePdqNode(ZutDqNode *deque, ZutWord item) {
  ZutPdqNode *node = find(deque, item);
  if (!node) return -1;
  utDqUnlink(&node->links);
  Z_FREE(node, "pdq_to_delete");
  return 0;
}

} // extern "C"
