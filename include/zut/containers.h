/* ---- Hash tables (hash) ----
 * A table from keys to values, both words of the caller's that are never copied. Order of visits:
 * chains by index, in each chain the newest entry first. No lock: one thread at a time.
 * Insert, resize, reset, destroy, dump and the getters do not check for a null table. */
/* One entry. Callers may read the key and follow next. */
typedef struct ZutHashBucket {
  struct ZutHashBucket *next;
  ZutWord key;
  ZutWord value;
  int32_t ref_count;
} ZutHashBucket;

/* The functions of a table: `hash` gives a key's number, `test` is 1 when two keys are equal.
 * The others are called with each entry; see the operations that take them. */
typedef uint32_t(Z_CALL *ZutHashFunc)(ZutWord key);
typedef int32_t(Z_CALL *ZutHashTestFunc)(ZutWord sought, ZutWord stored);
typedef int32_t(Z_CALL *ZutHashTraverseFunc)(ZutWord key, ZutWord value, ZutWord argument);
typedef void(Z_CALL *ZutHashDestroyFunc)(ZutWord key, ZutWord value, ZutWord argument);
typedef int32_t(Z_CALL *ZutHashCompareFunc)(ZutWord key_a, ZutWord key_b);
typedef int32_t(Z_CALL *ZutHashFilterFunc)(ZutWord key, ZutWord value);
typedef int32_t(Z_CALL *ZutHashSortFunc)(ZutWord value, ZutWord argument);

/* A new table for about `expected` entries with the caller's functions. It starts with the power
 * of two of chains that is at least four thirds of `expected`, 8 at the least, and asks for
 * twice as many when more than three quarters are used, which the same rule turns into four
 * times. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreate(int32_t expected, ZutHashFunc hash,
                                            ZutHashTestFunc test);

/* The same with ready-made functions, which are also the fastest: numbers; texts (the key is the
 * text's address; it must stay as it is while its entry lives); texts whose ASCII letters' case
 * is ignored; addresses. */
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateInt(int32_t expected);
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateStr(int32_t expected);
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreateStri(int32_t expected);
Z_EXPORT ZutHashTable *Z_CALL ZutHashCreatePtr(int32_t expected);

/* The smallest power of two that is at least 2 and at least `n`. Above 2^30 there is none in 32
 * bits: message 5121, result 2. */
Z_EXPORT int32_t Z_CALL ZutRoundUpToPowerOf2(int32_t n);

/* The number of entries, and of insertions that met a chain in use. Deleting gives back a
 * collision only where the entry was not the first of its chain, so that number is a hint. */
Z_EXPORT int32_t Z_CALL ZutHashGetSize(const ZutHashTable *table);
Z_EXPORT int32_t Z_CALL ZutHashGetCollisions(const ZutHashTable *table);

/* A counted table (flag 1) counts the insertions of a key, and an entry goes with the last of as
 * many deletions. Errors  7 when the table is not empty or the flag is neither 0 nor 1. */
Z_EXPORT int32_t Z_CALL ZutHashGetReferenceCounted(const ZutHashTable *table);
Z_EXPORT int32_t Z_CALL ZutHashSetReferenceCounted(ZutHashTable *table, int32_t flag);
Z_EXPORT ZutHashFunc Z_CALL ZutHashGetHashFunc(const ZutHashTable *table);
Z_EXPORT ZutHashTestFunc Z_CALL ZutHashGetTestFunc(const ZutHashTable *table);

/* The value of a key.
 * Result   0 with error 8 when the key is absent. An entry whose value is 0 gives 0 and leaves
 *          the error number alone: use ZutHashLookupBucket where values may be 0.
 * ZutHashLookupInt is the same operation. */
Z_EXPORT ZutWord Z_CALL ZutHashLookup(ZutHashTable *table, ZutWord key);
Z_EXPORT ZutWord Z_CALL ZutHashLookupInt(ZutHashTable *table, ZutWord key);

/* The entry of a key, the table's own record. It stays where it is until it is deleted.
 * Errors   8 when absent. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashLookupBucket(ZutHashTable *table, ZutWord key);

/* The first entry in the order of traversal. Errors  8 when the table is empty. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashGetFirstBucket(ZutHashTable *table);

/* Adds an entry. A key that is present counts one more in a counted table, which keeps the first
 * value; in any other table nothing changes and a warning line is printed. With the variable
 * HASH_INSERT_VERBOSE_ERROR set the table is dumped as well, with HASH_INSERT_FATAL_ERROR the
 * process ends. */
Z_EXPORT void Z_CALL ZutHashInsert(ZutHashTable *table, ZutWord key, ZutWord value);

/* Sets the value of a key, and the key itself to the equal one that is given; adds the entry
 * when it is absent. Result  the previous value, 0 when there was none. */
Z_EXPORT ZutWord Z_CALL ZutHashReplace(ZutHashTable *table, ZutWord key, ZutWord value);
Z_EXPORT ZutWord Z_CALL ZutHashBucketGetValue(const ZutHashBucket *bucket);
Z_EXPORT ZutWord Z_CALL ZutHashBucketSetValue(ZutHashBucket *bucket, ZutWord value);

/* Takes an entry out of the table (in a counted table: one insertion of it).
 * Result   the entry: while its ref_count is above 0 it is still the table's; at 0 it is a block
 *          that the caller frees with ZutFree, at another address than the entry had.
 * Errors   8 when absent. */
Z_EXPORT ZutHashBucket *Z_CALL ZutHashDeleteBucket(ZutHashTable *table, ZutWord key);

/* The same without the entry: gives its value, 0 with error 8 when absent. */
Z_EXPORT ZutWord Z_CALL ZutHashDelete(ZutHashTable *table, ZutWord key);

/* Calls `function` for every entry: chains in order, in each the newest entry first. A result
 * other than 0 stops it and is the result; at the end the result is 0 with error 18. The
 * function may look up, insert, replace and delete any key: what it deletes is not visited any
 * more, what it inserts may be or not, and the table grows when the traversal ends. It must
 * return: a table whose traversal was left by a jump neither grows nor frees entries any more. */
Z_EXPORT int32_t Z_CALL ZutHashTraverse(ZutHashTable *table, ZutHashTraverseFunc function,
                                        ZutWord argument);

/* Removes every entry, after calling `function` (may be null) with it; the table is not counted
 * any more. The Free forms free the keys, the values or both with ZutFree. */
Z_EXPORT void Z_CALL ZutHashReset(ZutHashTable *table, ZutHashDestroyFunc function,
                                  ZutWord argument);
Z_EXPORT void Z_CALL ZutHashResetFreeKey(ZutHashTable *table);
Z_EXPORT void Z_CALL ZutHashResetFreeValue(ZutHashTable *table);
Z_EXPORT void Z_CALL ZutHashResetFreeKeyValue(ZutHashTable *table);

/* The same, and the table is gone. Not inside a traversal of the table. */
Z_EXPORT void Z_CALL ZutHashDestroy(ZutHashTable *table, ZutHashDestroyFunc function,
                                    ZutWord argument);
Z_EXPORT void Z_CALL ZutHashDestroyFreeKey(ZutHashTable *table);
Z_EXPORT void Z_CALL ZutHashDestroyFreeValue(ZutHashTable *table);
Z_EXPORT void Z_CALL ZutHashDestroyFreeKeyValue(ZutHashTable *table);

/* Makes the table as large as ZutHashCreate would for `n` entries; it never shrinks. */
Z_EXPORT void Z_CALL ZutHashResize(ZutHashTable *table, int32_t n);

/* The values (ZutHashSort) or the keys (ZutHashSortKeys) in ascending order of the keys, in an
 * array that the caller frees. `compare` null compares texts ignoring case; `filter`, if given,
 * keeps the entries for which it is not 0. Equal keys come in any order.
 * Result   null with count 0 when there is nothing. */
Z_EXPORT ZutWord *Z_CALL ZutHashSort(ZutHashTable *table, int32_t *count,
                                     ZutHashCompareFunc compare, ZutHashFilterFunc filter);
Z_EXPORT ZutWord *Z_CALL ZutHashSortKeys(ZutHashTable *table, int32_t *count,
                                         ZutHashCompareFunc compare, ZutHashFilterFunc filter);

/* Calls `function` with each value of ZutHashSort until a result is not 0. Result  the last one;
 * 0 without an error number when there was nothing. */
Z_EXPORT int32_t Z_CALL ZutHashSortTraverse(ZutHashTable *table, ZutHashSortFunc function,
                                            ZutWord argument, ZutHashCompareFunc compare,
                                            ZutHashFilterFunc filter);

/* Prints sizes, the spread over the chains and all entries through `out`, null for ZutDebug. The
 * printed deviations are roots of sums over the chains, not divided by their number. */
Z_EXPORT void Z_CALL ZutHashDump(ZutHashTable *table, ZutPrintFunc out);

/* ---- Safe strings (safestr) ----
 * A text that grows, always terminated. The record ZutSafeString is the caller's: storage, bytes
 * allocated, characters in use. No operation checks for null pointers. No lock. */

/* Makes an empty string in the record `out`, with 256 bytes of storage or `size` (at least 1).
 * Result   the record. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringCreate(ZutSafeString *out);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQCreate(ZutSafeString *out, int32_t size);

/* Frees the storage. The record is passed by value and keeps a stale pointer. */
Z_EXPORT void Z_CALL ZutSafeStringDestroy(ZutSafeString string);

/* Appends a text, a character or a number in decimal. The text may lie in the string itself. The
 * capacity grows by as many steps as needed: 256 bytes, or `step` (at least 1) in the Q forms.
 * Result   the record. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppend(ZutSafeString *string, const char *text);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQAppend(ZutSafeString *string, const char *text,
                                                    int32_t step);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppendChar(ZutSafeString *string, char character);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQAppendChar(ZutSafeString *string, char character,
                                                        int32_t step);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringAppendInt4(ZutSafeString *string, int32_t number);

/* Puts a text before the contents, in a new storage. Result  the new text. */
Z_EXPORT char *Z_CALL ZutSafeStringPrepend(ZutSafeString *string, const char *text);

/* Empties the string. A record whose `str` is null is created. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringClear(ZutSafeString *string);

/* The text replaces the contents; it may lie in the string itself. */
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringCopy(ZutSafeString *string, const char *text);
Z_EXPORT ZutSafeString *Z_CALL ZutSafeStringQCopy(ZutSafeString *string, const char *text,
                                                  int32_t step);

/* Makes room for `size` bytes in all, rounded up to a multiple of 256. Result  0 when there was
 * room already. */
Z_EXPORT int32_t Z_CALL ZutSafeStringResize(ZutSafeString *string, int32_t size);

/* Cuts the last `count` characters off. Result  0, nothing cut, when there are fewer or `count`
 * is negative. */
Z_EXPORT int32_t Z_CALL ZutSafeStringShorten(ZutSafeString *string, int32_t count);

/* ---- Linked lists (deque ptrdeque queue stack ptrqueue ptrstack) ----
 * Links between records of the caller's, or between nodes that the library allocates to carry one
 * item each. Nothing is checked and nothing is locked. A node that is taken out has null links. */
/* Intrusive nodes: the caller's record begins with these links. */
typedef struct ZutDqNode {
  struct ZutDqNode *left;
  struct ZutDqNode *right;
} ZutDqNode;
typedef struct ZutListNode {
  struct ZutListNode *next;
} ZutListNode;
/* Nodes that the library allocates. */
typedef struct ZutPdqNode {
  ZutDqNode links;
  ZutWord item;
} ZutPdqNode;
typedef struct ZutPqNode {
  struct ZutPqNode *next;
  ZutWord item;
} ZutPqNode;
typedef struct ZutPq {
  ZutPqNode *head;
  ZutPqNode *tail;
} ZutPq;
typedef struct ZutPstNode {
  struct ZutPstNode *next;
  ZutWord item;
} ZutPstNode;
typedef int32_t(Z_CALL *ZutListFunc)(ZutListNode *node, ZutWord argument);
typedef int32_t(Z_CALL *ZutListOrderFunc)(ZutListNode *node, ZutListNode *other);
typedef int32_t(Z_CALL *ZutPqOrderFunc)(ZutWord item, ZutWord other);

/* A deque is a ring of nodes closed by a sentinel, which is its handle: the sentinel's right
 * neighbour is the first node, its left one the last. ZutDqClose frees the nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutDqOpen(ZutDqNode **deque);
Z_EXPORT void Z_CALL ZutDqClose(ZutDqNode **deque);

/* Links `node` to the right of `position`; to append, give the sentinel's left neighbour. */
Z_EXPORT void Z_CALL ZutDqRightInsert(ZutDqNode *node, ZutDqNode *position);

/* Unlinks a node. Result  the node; null when it is the sentinel. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqDetach(ZutDqNode *deque, ZutDqNode *node);

/* The first node, unlinked (Pop) or left in place, or the last. Result  null when empty. */
Z_EXPORT ZutDqNode *Z_CALL ZutDqPop(ZutDqNode *deque);
Z_EXPORT ZutDqNode *Z_CALL ZutDqFirst(ZutDqNode *deque);
Z_EXPORT ZutDqNode *Z_CALL ZutDqLast(ZutDqNode *deque);

/* A deque of items: adds at the front; finds the first node with the item or null; deletes that
 * node: 0, or -1 when there is none. */
Z_EXPORT ZutPdqNode *Z_CALL ZutAddPdqNode(ZutDqNode *deque, ZutWord item);
Z_EXPORT ZutPdqNode *Z_CALL ZutFindPdqNode(ZutDqNode *deque, ZutWord item);
Z_EXPORT int32_t Z_CALL ZutDeletePdqNode(ZutDqNode *deque, ZutWord item);

/* Queues of the caller's nodes between a head and a tail word. Append adds at the end, Push at
 * the front, Pop removes the first, null when empty. */
Z_EXPORT void Z_CALL ZutQueueAppend(ZutListNode **head, ZutListNode **tail, ZutListNode *node);
Z_EXPORT void Z_CALL ZutQueuePush(ZutListNode **head, ZutListNode **tail, ZutListNode *node);
Z_EXPORT ZutListNode *Z_CALL ZutQueuePop(ZutListNode **head, ZutListNode **tail);

/* These work on a link word: the head word, or the next word of a node. RightInsert puts the
 * node where the link points; RightDetach removes the node that the link points to, null when
 * none; LeftFind gives the link to the first node for which function(node, argument) is not 0,
 * or null. */
Z_EXPORT void Z_CALL ZutQueueRightInsert(ZutListNode **head, ZutListNode **tail, ZutListNode *node,
                                         ZutListNode **after);
Z_EXPORT ZutListNode *Z_CALL ZutQueueRightDetach(ZutListNode **head, ZutListNode **tail,
                                                 ZutListNode **link);
Z_EXPORT ZutListNode **Z_CALL ZutQueueLeftFind(ZutListNode **head, ZutListNode **tail,
                                               ZutWord argument, ZutListFunc function);

/* Inserts before the first node x for which function(node, x) is not 0, else at the end: with a
 * function that says "strictly before", equal nodes keep the order of arrival. */
Z_EXPORT void Z_CALL ZutQueueInsert(ZutListNode **head, ZutListNode **tail, ZutListNode *node,
                                    ZutListOrderFunc function);

/* Removes a node wherever it is: gives the node, null when it is not in the queue. */
Z_EXPORT ZutListNode *Z_CALL ZutQueueDelete(ZutListNode **head, ZutListNode **tail,
                                            ZutListNode *node);

/* Frees all nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutQueueClose(ZutListNode **head, ZutListNode **tail);

/* Stacks and lists of the caller's nodes behind one head word. Pop gives null when empty, Close
 * frees all nodes with ZutFree. */
Z_EXPORT void Z_CALL ZutStackPush(ZutListNode **head, ZutListNode *node);
Z_EXPORT ZutListNode *Z_CALL ZutStackPop(ZutListNode **head);
Z_EXPORT void Z_CALL ZutStackClose(ZutListNode **head);

/* The chain's length; its last node (null for none); the place of a node counted from 0, or -1
 * with message 5144. */
Z_EXPORT int32_t Z_CALL ZutListLength(const ZutListNode *first);
Z_EXPORT ZutListNode *Z_CALL ZutListEnd(ZutListNode *first);
Z_EXPORT int32_t Z_CALL ZutListPos(const ZutListNode *first, const ZutListNode *node);

/* Removes a node: gives it, null when it is absent. */
Z_EXPORT ZutListNode *Z_CALL ZutListDelete(ZutListNode **head, ZutListNode *node);

/* Calls function(node, argument) for every node; a node for which it is not 0 is unlinked and
 * the function's to keep or free. Result  the last one of the function, 0 for an empty list. */
Z_EXPORT int32_t Z_CALL ZutListTravDel(ZutListNode **head, ZutListFunc function, ZutWord argument);

/* Queues of items. Add appends, Push puts at the front: both give the node. Pop gives the first
 * item, 0 when empty. */
Z_EXPORT ZutPqNode *Z_CALL ZutPqAdd(ZutPq *queue, ZutWord item);
Z_EXPORT ZutPqNode *Z_CALL ZutPqPush(ZutPq *queue, ZutWord item);
Z_EXPORT ZutWord Z_CALL ZutPqPop(ZutPq *queue);

/* Inserts the item where `link`, the head word or a node's next word, points; gives the node. */
Z_EXPORT ZutPqNode *Z_CALL ZutPqRInsert(ZutPq *queue, ZutWord item, ZutPqNode **link);

/* Inserts before the first item x for which function(item, x) is not 0, else at the end.
 * Result   the place, counted from 1, at which the item now stands. */
Z_EXPORT int32_t Z_CALL ZutPqInsert(ZutPq *queue, ZutWord item, ZutPqOrderFunc function);

/* Delete removes the first node with the item; both give the item, 0 when it is absent. */
Z_EXPORT ZutWord Z_CALL ZutPqDelete(ZutPq *queue, ZutWord item);
Z_EXPORT ZutWord Z_CALL ZutPqFind(const ZutPq *queue, ZutWord item);
Z_EXPORT int32_t Z_CALL ZutPqCount(const ZutPq *queue);
Z_EXPORT void Z_CALL ZutPqClose(ZutPq *queue);

/* Stacks of items: Push gives the new node, Pop the item (0 when empty), Find the first node
 * with the item or null. */
Z_EXPORT ZutPstNode *Z_CALL ZutPushPstNode(ZutPstNode **head, ZutWord item);
Z_EXPORT ZutWord Z_CALL ZutPopPstNode(ZutPstNode **head);
Z_EXPORT ZutPstNode *Z_CALL ZutFindPstNode(ZutPstNode *first, ZutWord item);

/* ---- Lobe tables (lobe) ----
 * A lobe gives any object one more slot, known by the object's address: a process-wide table from
 * objects to copies of a value. Each lobe has a mutex of its own, taken once threads are
 * initialised; any thread may use any lobe. A null lobe gives 0 or null. */
typedef int32_t(Z_CALL *ZutLobeTraverseFunc)(ZutWord object, void *value, ZutWord argument);

/* The lobe of a number, made when it is new, for values of `size` bytes or for texts (a size of
 * -1). A lobe that was declared with another size is returned as it is, with message 5410. */
Z_EXPORT ZutLobe *Z_CALL ZutLobeDeclare(int32_t number, int32_t size);
Z_EXPORT ZutLobe *Z_CALL ZutLobeStringDeclare(int32_t number);

/* Result  null when no lobe has the number, with error 8 if any was ever declared. */
Z_EXPORT ZutLobe *Z_CALL ZutLobeLookup(int32_t number);

/* The size of a value, -1 for texts, 0 for a null lobe. */
Z_EXPORT int32_t Z_CALL ZutLobeGetSize(const ZutLobe *lobe);

/* The table of all lobes by number, null before the first. Hold the process mutex while using
 * it. */
Z_EXPORT ZutHashTable *Z_CALL ZutLobeTable(void);

/* The object's value, the lobe's own block, or null. Another thread may delete it at any time. */
Z_EXPORT void *Z_CALL ZutLobeFindValue(const void *object, ZutLobe *lobe);

/* Copies the object's value to `out`: the size's bytes, or the text with its terminator.
 * Result   0 when the object has none. */
Z_EXPORT int32_t Z_CALL ZutLobeGet(const void *object, ZutLobe *lobe, void *out);

/* Gives the object a copy of a value. A value of fixed size that it has already is overwritten
 * where it stands. ZutLobeCheckSet does nothing and gives 0 when there is a value; two threads
 * that check at once may both set. */
Z_EXPORT int32_t Z_CALL ZutLobeSet(const void *object, ZutLobe *lobe, const void *value);
Z_EXPORT int32_t Z_CALL ZutLobeCheckSet(const void *object, ZutLobe *lobe, const void *value);

/* Takes the object's value away. Result  always 0. */
Z_EXPORT int32_t Z_CALL ZutLobeDelete(const void *object, ZutLobe *lobe);

/* Takes the object's values away in every lobe: for use when the object goes. */
Z_EXPORT void Z_CALL ZutLobeClear(const void *object);

/* Calls `function` with each object and its value, under the lobe's mutex; results as
 * ZutHashTraverse, 0 when no lobe was ever declared. */
Z_EXPORT int32_t Z_CALL ZutLobeTraverse(ZutLobe *lobe, ZutLobeTraverseFunc function,
                                        ZutWord argument);
