// Rings of nodes around a sentinel: see include/zut.h, "Linked lists".
#pragma once

#include "base/check.h"
#include "zut.h"

// Takes a node that is not the sentinel out of its ring and clears its links.
inline void utDqUnlink(ZutDqNode *node) {
  utCheck(node->left->right == node && node->right->left == node);
  node->left->right = node->right;
  node->right->left = node->left;
  node->left = node->right = nullptr;
}
