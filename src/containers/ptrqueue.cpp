// Queues of items: nodes that the library allocates, each with one word. The tail is the last
// node, null when the queue is empty.
#include "base/check.h"
#include "zut.h"

namespace {

// The link, the head or a node's next word, that leads to the first node with an item; else the
// null at the end.
ZutPqNode **findLink(ZutPq &queue, ZutWord item) {
  ZutPqNode **link = &queue.head;
  while (*link && (*link)->item != item) link = &(*link)->next;
  return link;
}

void detach(ZutPq &queue, ZutPqNode **link) {
  ZutPqNode *node = *link;
  *link = node->next;
  utCheck((node == queue.tail) == !node->next);
  // A link that is not the head word is the first field of the node before.
  if (node == queue.tail)
    queue.tail = link == &queue.head ? nullptr : reinterpret_cast<ZutPqNode *>(link);
}

} // namespace

extern "C" {

ZutPqNode *Z_CALL ZutPqAdd(ZutPq *queue, ZutWord item) {
  return ZutPqRInsert(queue, item, queue->tail ? &queue->tail->next : &queue->head);
}

ZutPqNode *Z_CALL ZutPqPush(ZutPq *queue, ZutWord item) {
  return ZutPqRInsert(queue, item, &queue->head);
}

ZutWord Z_CALL ZutPqPop(ZutPq *queue) {
  ZutPqNode *node = queue->head;
  if (!node) return 0;
  const ZutWord item = node->item;
  detach(*queue, &queue->head);
  Z_FREE(node, "node");
  return item;
}

ZutPqNode *Z_CALL ZutPqRInsert(ZutPq *queue, ZutWord item, ZutPqNode **link) {
  auto *node = static_cast<ZutPqNode *>(Z_MALLOC(sizeof(ZutPqNode), "new_node"));
  node->item = item;
  node->next = *link;
  *link = node;
  if (!node->next) queue->tail = node;
  return node;
}

int32_t Z_CALL ZutPqInsert(ZutPq *queue, ZutWord item, ZutPqOrderFunc function) {
  int32_t position = 1;
  ZutPqNode **link = &queue->head;
  for (; *link && !function(item, (*link)->item); link = &(*link)->next) ++position;
  ZutPqRInsert(queue, item, link);
  return position;
}

ZutWord Z_CALL ZutPqDelete(ZutPq *queue, ZutWord item) {
  ZutPqNode **link = findLink(*queue, item);
  ZutPqNode *node = *link;
  if (!node) return 0;
  detach(*queue, link);
  Z_FREE(node, "delp");
  return item;
}

ZutWord Z_CALL ZutPqFind(const ZutPq *queue, ZutWord item) {
  const ZutPqNode *node = queue->head;
  while (node && node->item != item) node = node->next;
  return node ? item : 0;
}

int32_t Z_CALL ZutPqCount(const ZutPq *queue) {
  int32_t count = 0;
  for (const ZutPqNode *node = queue->head; node; node = node->next) ++count;
  return count;
}

void Z_CALL ZutPqClose(ZutPq *queue) {
  while (queue->head) ZutPqPop(queue);
}

} // extern "C"
