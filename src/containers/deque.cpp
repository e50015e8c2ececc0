// Deques: rings of the caller's nodes, closed by a sentinel whose links are never null.
#include "containers/deque.h"

extern "C" {

void Z_CALL ZutDqOpen(ZutDqNode **deque) {
  auto *sentinel = static_cast<ZutDqNode *>(Z_MALLOC(sizeof(ZutDqNode), "*pdq"));
  sentinel->left = sentinel->right = sentinel;
  *deque = sentinel;
}

void Z_CALL ZutDqClose(ZutDqNode **deque) {
  while (ZutDqNode *node = ZutDqPop(*deque)) Z_FREE(node, "node");
  utCheck((*deque)->left == *deque);
  Z_FREE(*deque, "*pdq");
  *deque = nullptr;
}

void Z_CALL ZutDqRightInsert(ZutDqNode *node, ZutDqNode *position) {
  node->left = position;
  node->right = position->right;
  position->right->left = node;
  position->right = node;
}

ZutDqNode *Z_CALL ZutDqDetach(ZutDqNode *deque, ZutDqNode *node) {
  if (node == deque) return nullptr;
  utDqUnlink(node);
  return node;
}

ZutDqNode *Z_CALL ZutDqPop(ZutDqNode *deque) { return ZutDqDetach(deque, deque->right); }

ZutDqNode *Z_CALL ZutDqFirst(ZutDqNode *deque) {
  return deque->right == deque ? nullptr : deque->right;
}

ZutDqNode *Z_CALL ZutDqLast(ZutDqNode *deque) {
  return deque->left == deque ? nullptr : deque->left;
}

} // extern "C"
