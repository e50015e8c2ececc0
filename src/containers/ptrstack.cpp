// Stacks of items: nodes that the library allocates, each with one word.
#include "zut.h"

extern "C" {

ZutPstNode *Z_CALL ZutPushPstNode(ZutPstNode **head, ZutWord item) {
  auto *node = static_cast<ZutPstNode *>(Z_MALLOC(sizeof(ZutPstNode), "pstp"));
  node->next = *head;
  node->item = item;
  *head = node;
  return node;
}

ZutWord Z_CALL ZutPopPstNode(ZutPstNode **head) {
  ZutPstNode *node = *head;
  if (!node) return 0;
  const ZutWord item = node->item;
  *head = node->next;
  Z_FREE(node, "stack_node_ptr");
  return item;
}

ZutPstNode *Z_CALL ZutFindPstNode(ZutPstNode *first, ZutWord item) {
  while (first && first->item != item) first = first->next;
  return first;
}

} // extern "C"
