#include "support/child.h"

namespace {

struct Node {
  ZutListNode link;
  int rank;
  int mark;
};

Node &nodeOf(ZutListNode *link) { return *reinterpret_cast<Node *>(link); }

std::string marks(const ZutListNode *first) {
  std::string text;
  for (; first; first = first->next)
    text += static_cast<char>(reinterpret_cast<const Node *>(first)->mark);
  return text;
}

int32_t Z_CALL before(ZutListNode *node, ZutListNode *other) {
  return nodeOf(node).rank < nodeOf(other).rank;
}
int32_t Z_CALL hasMark(ZutListNode *node, ZutWord mark) { return nodeOf(node).mark == mark; }
int32_t Z_CALL less(ZutWord item, ZutWord other) { return item < other; }

} // namespace

TEST(Deque, RingKeepsBothEnds) {
  ZutDqNode *deque;
  ZutDqOpen(&deque);
  EXPECT_TRUE(!ZutDqPop(deque) && !ZutDqFirst(deque) && !ZutDqLast(deque));
  EXPECT_EQ(ZutDqDetach(deque, deque), nullptr);
  for (ZutWord item = 1; item <= 4; ++item) ZutAddPdqNode(deque, item);
  EXPECT_EQ(ZutDqLast(deque), &ZutFindPdqNode(deque, 1)->links);
  EXPECT_EQ(ZutDqFirst(deque), &ZutFindPdqNode(deque, 4)->links);
  EXPECT_EQ(ZutDeletePdqNode(deque, 9), -1);
  EXPECT_EQ(ZutDeletePdqNode(deque, 4), 0);
  ZutDqNode *popped = ZutDqPop(deque); // the 3
  EXPECT_EQ(popped->right, nullptr);
  ZutDqRightInsert(popped, deque->left);
  std::string order;
  for (ZutDqNode *node = deque->right; node != deque; node = node->right)
    order += std::to_string(reinterpret_cast<ZutPdqNode *>(node)->item);
  EXPECT_EQ(order, "213");
  ZutDqClose(&deque); // frees all three
  EXPECT_EQ(deque, nullptr);
}

TEST(Queue, TailIsRightAfterEveryChange) {
  Node a{{}, 2, 'a'}, b{{}, 1, 'b'}, c{{}, 2, 'c'}, d{{}, 3, 'd'};
  ZutListNode *head = nullptr, *tail = nullptr;
  EXPECT_EQ(ZutQueuePop(&head, &tail), nullptr);
  for (Node *node : {&a, &b, &c, &d}) ZutQueueInsert(&head, &tail, &node->link, before);
  EXPECT_EQ(marks(head), "bacd"); // equal ranks in order of arrival
  EXPECT_EQ(tail, &d.link);
  EXPECT_EQ(ZutQueueDelete(&head, &tail, &d.link), &d.link);
  EXPECT_EQ(tail, &c.link);
  EXPECT_EQ(ZutQueueDelete(&head, &tail, &d.link), nullptr);
  EXPECT_EQ(ZutQueueLeftFind(&head, &tail, 'x', hasMark), nullptr);
  ZutListNode **link = ZutQueueLeftFind(&head, &tail, 'c', hasMark);
  EXPECT_EQ(link, &a.link.next);
  EXPECT_EQ(ZutQueueRightDetach(&head, &tail, link), &c.link);
  EXPECT_EQ(tail, &a.link);
  ZutQueueRightInsert(&head, &tail, &d.link, &a.link.next);
  ZutQueueAppend(&head, &tail, &c.link);
  EXPECT_EQ(marks(head), "badc");
  for (Node *node : {&b, &a, &d, &c}) EXPECT_EQ(ZutQueuePop(&head, &tail), &node->link);
  EXPECT_TRUE(!head && !tail);
  for (int i = 0; i < 2; ++i)
    ZutQueuePush(&head, &tail, static_cast<ZutListNode *>(ZutMalloc(sizeof(Node))));
  EXPECT_EQ(tail, head->next);
  ZutQueueClose(&head, &tail);
  EXPECT_EQ(tail, nullptr);
}

TEST(List, StackAndChainOperations) {
  Node a{{}, 0, 'a'}, b{{}, 0, 'b'}, c{{}, 0, 'c'}, d{{}, 0, 'd'};
  ZutListNode *head = nullptr;
  EXPECT_TRUE(!ZutStackPop(&head) && !ZutListEnd(head));
  for (Node *node : {&d, &c, &b, &a}) ZutStackPush(&head, &node->link);
  EXPECT_EQ(ZutListLength(head), 4);
  EXPECT_EQ(ZutListEnd(head), &d.link);
  EXPECT_EQ(ZutListPos(head, &c.link), 2);
  EXPECT_EQ(ZutListDelete(&head, &c.link), &c.link);
  EXPECT_EQ(ZutListDelete(&head, &c.link), nullptr);
  Capture capture;
  EXPECT_EQ(ZutListPos(head, &c.link), -1);
  EXPECT_NE(capture.text().find("5144"), std::string::npos);
  const auto spoil = [](ZutListNode *node, ZutWord) { // the node is the function's at once
    const bool out = nodeOf(node).mark != 'b';
    if (out) node->next = node;
    return static_cast<int32_t>(out ? nodeOf(node).mark : 0);
  };
  EXPECT_EQ(ZutListTravDel(&head, spoil, 0), 'd');
  EXPECT_EQ(marks(head), "b");
  EXPECT_EQ(ZutStackPop(&head), &b.link);
}

TEST(PtrQueue, KeepsOrderTailAndPositions) {
  ZutPq queue = {};
  EXPECT_EQ(ZutPqInsert(&queue, 5, less), 1);
  EXPECT_EQ(ZutPqAdd(&queue, 9), queue.tail);
  EXPECT_EQ(ZutPqInsert(&queue, 7, less), 2);
  EXPECT_EQ(ZutPqDelete(&queue, 7), 7);
  EXPECT_EQ(ZutPqInsert(&queue, 10, less), 3);
  EXPECT_EQ(ZutPqDelete(&queue, 10), 10);
  EXPECT_EQ(ZutPqDelete(&queue, 10), 0);
  EXPECT_EQ(queue.tail->item, 9);
  EXPECT_EQ(ZutPqRInsert(&queue, 11, &queue.tail->next), queue.tail);
  ZutPqPush(&queue, 1);
  EXPECT_EQ(ZutPqCount(&queue), 4);
  EXPECT_EQ(ZutPqFind(&queue, 9), 9);
  EXPECT_EQ(ZutPqFind(&queue, 8), 0);
  EXPECT_EQ(ZutPqPop(&queue), 1);
  ZutPqClose(&queue);
  EXPECT_EQ(queue.tail, nullptr);
  EXPECT_EQ(ZutPqPop(&queue), 0);
}

TEST(PtrStack, FindsAndPopsTheNewest) {
  ZutPstNode *stack = nullptr;
  EXPECT_EQ(ZutPopPstNode(&stack), 0);
  ZutPushPstNode(&stack, 1);
  ZutPstNode *second = ZutPushPstNode(&stack, 2);
  EXPECT_EQ(ZutFindPstNode(stack, 2), second);
  EXPECT_EQ(ZutFindPstNode(stack, 3), nullptr);
  EXPECT_EQ(ZutPopPstNode(&stack) * 10 + ZutPopPstNode(&stack), 21);
}
