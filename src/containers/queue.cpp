// Queues of the caller's nodes between a head and a tail word. Invariant: the tail is the last
// node, null when the head is.
#include "base/check.h"
#include "zut.h"

extern "C" {

void Z_CALL ZutQueueAppend(ZutListNode **head, ZutListNode **tail, ZutListNode *node) {
  node->next = nullptr;
  (*tail ? (*tail)->next : *head) = node;
  *tail = node;
}

void Z_CALL ZutQueuePush(ZutListNode **head, ZutListNode **tail, ZutListNode *node) {
  ZutQueueRightInsert(head, tail, node, head);
}

ZutListNode *Z_CALL ZutQueuePop(ZutListNode **head, ZutListNode **tail) {
  return ZutQueueRightDetach(head, tail, head);
}

void Z_CALL ZutQueueRightInsert(ZutListNode **, ZutListNode **tail, ZutListNode *node,
                                ZutListNode **after) {
  node->next = *after;
  *after = node;
  if (!node->next) *tail = node;
}

ZutListNode *Z_CALL ZutQueueRightDetach(ZutListNode **head, ZutListNode **tail,
                                        ZutListNode **link) {
  ZutListNode *node = *link;
  if (!node) return nullptr;
  *link = node->next;
  utCheck((node == *tail) == !node->next);
  // A link that is not the head word is the first field of the node before.
  if (node == *tail) *tail = link == head ? nullptr : reinterpret_cast<ZutListNode *>(link);
  node->next = nullptr;
  return node;
}

ZutListNode **Z_CALL ZutQueueLeftFind(ZutListNode **head, ZutListNode **, ZutWord argument,
                                      ZutListFunc function) {
  for (ZutListNode **link = head; *link; link = &(*link)->next) {
    if (function(*link, argument)) return link;
  }
  return nullptr;
}

void Z_CALL ZutQueueInsert(ZutListNode **head, ZutListNode **tail, ZutListNode *node,
                           ZutListOrderFunc function) {
  ZutListNode **link = head;
  while (*link && !function(node, *link)) link = &(*link)->next;
  ZutQueueRightInsert(head, tail, node, link);
}

ZutListNode *Z_CALL ZutQueueDelete(ZutListNode **head, ZutListNode **tail, ZutListNode *node) {
  for (ZutListNode **link = head; *link; link = &(*link)->next) {
    if (*link == node) return ZutQueueRightDetach(head, tail, link);
  }
  return nullptr;
}

void Z_CALL ZutQueueClose(ZutListNode **head, ZutListNode **tail) {
  ZutStackClose(head);
  utCheck(!*head);
  *tail = nullptr;
}

} // extern "C"
