/* ---- Callback types and callback lists (callback) ----
 * An event is a numbered type. Its callbacks stand in lists: one global list and one for each
 * owner, any object of the caller's. Lists are ordered by priority, highest first, then by age; no
 * two callbacks of a list have the same function and argument.
 * Threads  any, once threads are initialised. A list is locked for reading while its callbacks
 *          are called, traversed, looked up or printed, for writing while it is changed. A callback
 *          may change, clear or call the list that is calling it: the change waits until no other
 *          thread is inside a call of that list. A thread that has to wait lets others change the
 *          lists that it is calling itself, so calls and changes never wait for each other in a
 *          ring. A callback must return or end the process: left by a jump, it leaves its list
 *          locked. */
/* The event's record begins with this field: the list sets it before each call. */
typedef struct ZutCbCallData {
  ZutCb *cb;
} ZutCbCallData;
#define Z_CB_CHANGE_FUNCTION 1
#define Z_CB_CHANGE_ARGUMENT 2
#define Z_CB_CHANGE_DESTROY 3
#define Z_CB_CHANGE_PRIORITY 4
typedef struct ZutCbChangeData {
  ZutCb *cb;
  int32_t kind;
} ZutCbChangeData;
#define Z_CB_GLOBAL_ONLY 0
#define Z_CB_NO_GLOBALS 1
#define Z_CB_GLOBALS_OK 2
#define Z_CB_INDIRECT 0
#define Z_CB_DIRECT 1
/* The library's own types. */
#define Z_CB_TYPE_TIME_CHANGE (-101)
#define Z_CB_TYPE_OPTION_CHANGE (-102)
#define Z_CB_TYPE_LEXER_TOKEN (-104)
#define Z_CB_TYPE_QUIT (-106)
typedef void(Z_CALL *ZutCbFunc)(void *owner, void *call_data, ZutWord argument);
typedef void(Z_CALL *ZutCbChangeFunc)(ZutCb *cb, ZutCbChangeData *data, ZutWord argument);
typedef int32_t(Z_CALL *ZutCbTypeTraverseFunc)(ZutWord number, ZutCbType *type, ZutWord argument);
typedef int32_t(Z_CALL *ZutCbListTraverseFunc)(ZutCbList *list, ZutCb *cb, ZutWord argument);

/* A new type; the name, which may be null, is copied. Result  null when the number is taken.
 * Callback type numbers are lobe numbers as well: a type whose number is that of a lobe with
 * another size has no owner lists (message 5005). */
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeCreate(int32_t number, const char *name);

/* The type of a name, ignoring case (error 18 when there is none), or of a number (error 8 when
 * there is none, no error number before the first type). */
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeLookup(const char *name);
Z_EXPORT ZutCbType *Z_CALL ZutCbTypeNumLookup(int32_t number);

/* Calls `function` with each type, the process mutex held; results as ZutHashTraverse. */
Z_EXPORT int32_t Z_CALL ZutCbTypeTraverse(ZutCbTypeTraverseFunc function, ZutWord argument);

/* What an event calls: Z_CB_GLOBAL_ONLY, Z_CB_NO_GLOBALS (the owner's callbacks only) or
 * Z_CB_GLOBALS_OK (both, merged by priority), the value at first. Any value is stored. */
Z_EXPORT int32_t Z_CALL ZutCbTypeSetGlobFlag(ZutCbType *type, int32_t flag);
Z_EXPORT int32_t Z_CALL ZutCbTypeGetGlobFlag(ZutCbType *type, int32_t *out);

/* Where owners' lists are: Z_CB_INDIRECT, the library finds them; Z_CB_DIRECT, owners keep them.
 * Errors   7 for another flag. */
Z_EXPORT int32_t Z_CALL ZutCbTypeSetLocalFlag(ZutCbType *type, int32_t flag);
Z_EXPORT int32_t Z_CALL ZutCbTypeGetLocalFlag(ZutCbType *type, int32_t *out);

/* The name, null when there is none, and the number. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetName(ZutCbType *type, const char **out);
Z_EXPORT int32_t Z_CALL ZutCbTypeGetNum(ZutCbType *type, int32_t *out);

/* The list of an owner, or for a null owner the global one. Result  0 when there is none; for an
 * owner of a direct type with message 5006. */
Z_EXPORT int32_t Z_CALL ZutCbTypeGetCbList(ZutCbType *type, void *owner, ZutCbList **out);

/* A list that becomes the owner's. Result  null for a direct type. */
Z_EXPORT ZutCbList *Z_CALL ZutCbTypeCbListCreate(ZutCbType *type, void *owner);

/* A callback with priority 0 in the owner's list, or for a null owner in the global one, made when
 * it is missing. Result  null for an owner of a direct type.
 * Errors   6 when the pair of function and argument is there; 15 for a global callback of a type
 *          with Z_CB_NO_GLOBALS. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeCbCreate(ZutCbType *type, void *owner, ZutCbFunc function,
                                         ZutWord argument);

/* The callback with that function and argument. Errors  8 when there is none; 15 with message
 * 5007 for an owner of a direct type. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeCbLookup(ZutCbType *type, void *owner, ZutCbFunc function,
                                         ZutWord argument);
Z_EXPORT ZutCb *Z_CALL ZutCbCreateGlobal(ZutCbType *type, ZutCbFunc function, ZutWord argument);

/* Raises the event: calls the callbacks of the owner, the global ones or both, as the type's flag
 * says, on this thread. `call_data` is a record that begins with a ZutCbCallData. The owner's list
 * may be cleared by another thread meanwhile.
 * Result   1, also when nothing was called. An unknown flag calls nothing: message 5008. */
Z_EXPORT int32_t Z_CALL ZutCbTypeCall(ZutCbType *type, void *owner, void *call_data);

/* The same by the type's number. An unknown number gives 0, the call 1. ZutCbTypeNumCbDestroy
 * destroys the callback that the look-up finds. */
Z_EXPORT ZutCb *Z_CALL ZutCbTypeNumCbLookup(int32_t number, void *owner, ZutCbFunc function,
                                            ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutCbTypeNumCbDestroy(int32_t number, void *owner, ZutCbFunc function,
                                              ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutCbTypeNumCbCall(int32_t number, void *owner, void *call_data);
Z_EXPORT int32_t Z_CALL ZutCbTypeNumObjClear(int32_t number, void *owner);

/* Destroys the owner's list. Result  0 when it has none; as ZutCbListDestroy otherwise. */
Z_EXPORT int32_t Z_CALL ZutCbObjClear(ZutCbType *type, void *owner);

/* Prints a type through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrintType(ZutCbType *type, ZutPrintFunc out);

/* A list of a type. It is found by its owner only if the caller keeps it; see
 * ZutCbTypeCbListCreate. */
Z_EXPORT ZutCbList *Z_CALL ZutCbListCreate(ZutCbType *type, void *owner);

/* Destroys a list and its callbacks, each change function called.
 * Errors   32 when this thread is calling the list: the call stops after the callback that it is
 *          in, and the last call to end destroys an owner's list. A global list then stays as it
 *          is and calls one callback an event.
 * Threads  waits for other threads' calls. */
Z_EXPORT int32_t Z_CALL ZutCbListDestroy(ZutCbList *list);

/* Calls the list's callbacks, ZutCbMergeCall those of two lists by priority, the owner's first
 * among equals. Both stop when the owner's list is being destroyed. Result  1. */
Z_EXPORT int32_t Z_CALL ZutCbListCall(ZutCbList *list, void *owner, void *call_data);

/* Calls `function` for each callback in calling order. Result  the first one that is not 0; 0,
 * without error 18, at the end. */
Z_EXPORT int32_t Z_CALL ZutCbListTraverse(ZutCbList *list, ZutCbListTraverseFunc function,
                                          ZutWord argument);

/* A new callback with priority 0 in the list. Errors  6 when function and argument are there. */
Z_EXPORT ZutCb *Z_CALL ZutCbListCbCreate(ZutCbList *list, ZutCbFunc function, ZutWord argument);

/* Inserts a callback that ZutCbListRemoveCb took out of a list, after those of equal priority.
 * Errors   6 when function and argument are there, 32 when the callback is in a list. Removing
 *          gives error 8 when the callback is not in this list. */
Z_EXPORT int32_t Z_CALL ZutCbListInsertCb(ZutCbList *list, ZutCb *cb);

/* The first callback with that function and argument. Errors  8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutCbListCbLookup(ZutCbList *list, ZutCbFunc function, ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutCbListRemoveCb(ZutCbList *list, ZutCb *cb);

/* Is any thread calling, traversing or printing the list? */
Z_EXPORT int32_t Z_CALL ZutCbListIsActive(ZutCbList *list);

/* The owner (null for a global list) and the type. */
Z_EXPORT int32_t Z_CALL ZutCbListGetOwner(ZutCbList *list, void **out);
Z_EXPORT int32_t Z_CALL ZutCbListGetType(ZutCbList *list, ZutCbType **out);

/* Two numbers that are kept with the list and printed, without effect.
 * Result   always 0, with messages 5001 to 5004, although the number is stored or fetched. */
Z_EXPORT int32_t Z_CALL ZutCbListSetStartThresh(ZutCbList *list, uint16_t threshold);
Z_EXPORT int32_t Z_CALL ZutCbListGetStartThresh(ZutCbList *list, uint16_t *out);
Z_EXPORT int32_t Z_CALL ZutCbListSetCurrentThresh(ZutCbList *list, uint16_t threshold);
Z_EXPORT int32_t Z_CALL ZutCbListGetCurrentThresh(ZutCbList *list, uint16_t *out);
Z_EXPORT int32_t Z_CALL ZutCbMergeCall(ZutCbList *owner_list, ZutCbList *global_list, void *owner,
                                       void *call_data);

/* Prints a list and its callbacks through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrintList(ZutCbList *list, ZutPrintFunc out);

/* Takes a callback out of its list, calls its change function and frees it. A callback may
 * destroy itself or any other while it is called. */
Z_EXPORT int32_t Z_CALL ZutCbDestroy(ZutCb *cb);

/* Change a callback. Result  0 without an error number when the list has a callback with the new
 * pair of function and argument, be it this one. A new priority puts the callback after those of
 * equal priority; the present one changes nothing. */
Z_EXPORT int32_t Z_CALL ZutCbSetFunction(ZutCb *cb, ZutCbFunc function);
Z_EXPORT int32_t Z_CALL ZutCbSetArgument(ZutCb *cb, ZutWord argument);
Z_EXPORT int32_t Z_CALL ZutCbSetPriority(ZutCb *cb, int16_t priority);

/* What a callback has. One that is in no list has a null list, owner and type. */
Z_EXPORT int32_t Z_CALL ZutCbGetFunction(ZutCb *cb, ZutCbFunc *out);
Z_EXPORT int32_t Z_CALL ZutCbGetArgument(ZutCb *cb, ZutWord *out);
Z_EXPORT int32_t Z_CALL ZutCbGetPriority(ZutCb *cb, int16_t *out);
Z_EXPORT int32_t Z_CALL ZutCbGetList(ZutCb *cb, ZutCbList **out);
Z_EXPORT int32_t Z_CALL ZutCbGetOwner(ZutCb *cb, void **out);
Z_EXPORT int32_t Z_CALL ZutCbGetCbType(ZutCb *cb, ZutCbType **out);

/* `function` is told, after the fact, that the callback's function, argument or priority
 * changed, with the list locked for writing, so it must not change other lists; and, before the
 * record is freed, that it is destroyed. */
Z_EXPORT int32_t Z_CALL ZutCbSetChangeFunction(ZutCb *cb, ZutCbChangeFunc function,
                                               ZutWord argument);

/* Prints a callback through `out`. */
Z_EXPORT int32_t Z_CALL ZutCbPrint(ZutCb *cb, ZutPrintFunc out);

/* Callbacks that the quit command calls just before the process exits, with a null owner. The
 * look-up sets error 8 when there is none. */
Z_EXPORT ZutCb *Z_CALL ZutQuitCbCreate(ZutCbFunc function, ZutWord argument);
Z_EXPORT ZutCb *Z_CALL ZutQuitCbLookup(ZutCbFunc function, ZutWord argument);
