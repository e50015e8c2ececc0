#include "support/child.h"

namespace {

struct Node {
  ZutListNode link;
  int rank;
  int mark;
};

ZutListNode *linkOf(Node &node) { return &node.link; }
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
  EXPECT_EQ(ZutDqPop(deque), nullptr);
  EXPECT_EQ(ZutDqFirst(deque), nullptr);
  EXPECT_EQ(ZutDqLast(deque), nullptr);
  EXPECT_EQ(ZutDqDetach(deque, deque), nullptr);
  for (ZutWord item = 1; item <= 4; ++item) ZutAddPdqNode(deque, item);
  EXPECT_EQ(ZutDqLast(deque), &ZutFindPdqNode(deque, 1)->links);
  EXPECT_EQ(ZutDqFirst(deque), &ZutFindPdqNode(deque, 4)->links);
  EXPECT_EQ(ZutDeletePdqNode(deque, 9), -1);
  EXPECT_EQ(ZutDeletePdqNode(deque, 4), 0);
  auto *last = static_cast<ZutPdqNode *>(ZutMalloc(sizeof(ZutPdqNode)));
  last->item = 7;
  ZutDqRightInsert(&last->links, deque->left);
  std::string order;
  for (ZutDqNode *node = deque->right; node != deque; node = node->right)
    order += static_cast<char>('0' + reinterpret_cast<ZutPdqNode *>(node)->item);
  EXPECT_EQ(order, "3217");
  ZutDqNode *popped = ZutDqPop(deque);
  EXPECT_EQ(popped->right, nullptr);
  ZutFree(popped);
  ZutDqClose(&deque); // frees the other three
  EXPECT_EQ(deque, nullptr);
}

TEST(Queue, TailIsRightAfterEveryChange) {
  Node a{{}, 2, 'a'}, b{{}, 1, 'b'}, c{{}, 2, 'c'}, d{{}, 3, 'd'};
  ZutListNode *head = nullptr, *tail = nullptr;
  EXPECT_EQ(ZutQueuePop(&head, &tail), nullptr);
  for (Node *node : {&a, &b, &c, &d}) ZutQueueInsert(&head, &tail, linkOf(*node), before);
  EXPECT_EQ(marks(head), "bacd"); // equal ranks in order of arrival
  EXPECT_EQ(tail, linkOf(d));
  EXPECT_EQ(ZutQueueDelete(&head, &tail, linkOf(d)), linkOf(d));
  EXPECT_EQ(tail, linkOf(c));
  EXPECT_EQ(ZutQueueDelete(&head, &tail, linkOf(d)), nullptr);
  EXPECT_EQ(ZutQueueLeftFind(&head, &tail, 'x', hasMark), nullptr);
  ZutListNode **link = ZutQueueLeftFind(&head, &tail, 'c', hasMark);
  EXPECT_EQ(link, &a.link.next);
  EXPECT_EQ(ZutQueueRightDetach(&head, &tail, link), linkOf(c));
  EXPECT_EQ(tail, linkOf(a));
  ZutQueueRightInsert(&head, &tail, linkOf(d), &a.link.next);
  ZutQueueAppend(&head, &tail, linkOf(c));
  EXPECT_EQ(marks(head), "badc");
  for (int i = 0; i < 3; ++i) ZutQueuePop(&head, &tail);
  EXPECT_EQ(ZutQueuePop(&head, &tail), linkOf(c));
  EXPECT_EQ(head, nullptr);
  EXPECT_EQ(tail, nullptr);
  ZutQueuePush(&head, &tail, linkOf(b));
  EXPECT_EQ(tail, linkOf(b));
  ZutQueueDelete(&head, &tail, linkOf(b));
  EXPECT_EQ(tail, nullptr);
  for (int i = 0; i < 2; ++i)
    ZutQueuePush(&head, &tail, static_cast<ZutListNode *>(ZutMalloc(sizeof(Node))));
  ZutQueueClose(&head, &tail);
  EXPECT_EQ(tail, nullptr);
}

TEST(List, StackAndChainOperations) {
  Node a{{}, 0, 'a'}, b{{}, 0, 'b'}, c{{}, 0, 'c'}, d{{}, 0, 'd'};
  ZutListNode *head = nullptr;
  EXPECT_EQ(ZutStackPop(&head), nullptr);
  EXPECT_EQ(ZutListEnd(head), nullptr);
  for (Node *node : {&d, &c, &b, &a}) ZutStackPush(&head, linkOf(*node));
  EXPECT_EQ(ZutListLength(head), 4);
  EXPECT_EQ(ZutListEnd(head), linkOf(d));
  EXPECT_EQ(ZutListPos(head, linkOf(c)), 2);
  EXPECT_EQ(ZutListDelete(&head, linkOf(c)), linkOf(c));
  EXPECT_EQ(ZutListDelete(&head, linkOf(c)), nullptr);
  {
    Capture capture;
    EXPECT_EQ(ZutListPos(head, linkOf(c)), -1);
    EXPECT_NE(capture.text().find("5144"), std::string::npos);
  }
  const auto spoil = [](ZutListNode *node, ZutWord) { // the node is the function's at once
    const bool out = nodeOf(node).mark != 'b';
    if (out) node->next = node;
    return static_cast<int32_t>(out ? nodeOf(node).mark : 0);
  };
  EXPECT_EQ(ZutListTravDel(&head, spoil, 0), 'd');
  EXPECT_EQ(marks(head), "b");
  EXPECT_EQ(ZutStackPop(&head), linkOf(b));
}

TEST(PtrQueue, KeepsOrderTailAndPositions) {
  ZutPq queue = {};
  EXPECT_EQ(ZutPqInsert(&queue, 5, less), 1);
  EXPECT_EQ(ZutPqAdd(&queue, 9), queue.tail);
  EXPECT_EQ(ZutPqInsert(&queue, 7, less), 2);
  EXPECT_EQ(ZutPqDelete(&queue, 7), 7);
  EXPECT_EQ(ZutPqInsert(&queue, 10, less), 3);
  EXPECT_EQ(queue.tail->item, 10);
  EXPECT_EQ(ZutPqDelete(&queue, 10), 10);
  EXPECT_EQ(ZutPqDelete(&queue, 10), 0);
  EXPECT_EQ(queue.tail->item, 9);
  ZutPqRInsert(&queue, 11, &queue.tail->next);
  EXPECT_EQ(queue.tail->item, 11);
  ZutPqPush(&queue, 1);
  EXPECT_EQ(ZutPqCount(&queue), 4);
  EXPECT_EQ(ZutPqFind(&queue, 9), 9);
  EXPECT_EQ(ZutPqFind(&queue, 8), 0);
  EXPECT_EQ(ZutPqPop(&queue), 1);
  ZutPqClose(&queue);
  EXPECT_EQ(queue.tail, nullptr);
  EXPECT_EQ(ZutPqPop(&queue), 0);

  ZutPstNode *stack = nullptr;
  EXPECT_EQ(ZutPopPstNode(&stack), 0);
  ZutPushPstNode(&stack, 1);
  ZutPstNode *second = ZutPushPstNode(&stack, 2);
  EXPECT_EQ(ZutFindPstNode(stack, 2), second);
  EXPECT_EQ(ZutFindPstNode(stack, 3), nullptr);
  EXPECT_EQ(ZutPopPstNode(&stack), 2);
  EXPECT_EQ(ZutPopPstNode(&stack), 1);
}
