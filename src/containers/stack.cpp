// Stacks and lists of the caller's nodes, reached through one head word.
#include "base/report.h"

extern "C" {

void Z_CALL ZutStackPush(ZutListNode **head, ZutListNode *node) {
  node->next = *head;
  *head = node;
}

ZutListNode *Z_CALL ZutStackPop(ZutListNode **head) {
  ZutListNode *node = *head;
  if (!node) return nullptr;
  *head = node->next;
  node->next = nullptr;
  return node;
}

void Z_CALL ZutStackClose(ZutListNode **head) {
  while (ZutListNode *node = ZutStackPop(head)) Z_FREE(node, "node");
}

int32_t Z_CALL ZutListLength(const ZutListNode *first) {
  int32_t length = 0;
  for (; first; first = first->next) ++length;
  return length;
}

ZutListNode *Z_CALL ZutListEnd(ZutListNode *first) {
  while (first && first->next) first = first->next;
  return first;
}

int32_t Z_CALL ZutListPos(const ZutListNode *first, const ZutListNode *node) {
  int32_t position = 0;
  for (; first; first = first->next, ++position) {
    if (first == node) return position;
  }
  utReport<Msg::listPos>(Z_TRACE_LEVEL_WARNING, reinterpret_cast<uintptr_t>(node));
  return -1;
}

ZutListNode *Z_CALL ZutListDelete(ZutListNode **head, ZutListNode *node) {
  for (; *head; head = &(*head)->next) {
    if (*head == node) return ZutStackPop(head);
  }
  return nullptr;
}

// The link that leads to a node stays the node's place, so the function may free its node.
int32_t Z_CALL ZutListTravDel(ZutListNode **head, ZutListFunc function, ZutWord argument) {
  int32_t result = 0;
  while (ZutListNode *node = *head) {
    ZutListNode *next = node->next;
    result = function(node, argument);
    if (result) *head = next;
    else head = &node->next;
  }
  return result;
}

} // extern "C"
