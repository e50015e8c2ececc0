/* ---- Threads and thread-specific data (utthread) ---- */
/* Threads by value: a thread that was created here and a thread that the library met (the main
 * thread, other code's threads: adopted ones) have one, the same for life, 0 for none. On Windows
 * it is the thread's handle. Every created thread is waited for or detached, once; after that its
 * value means nothing. Adopted threads belong to the library: a thread of its own looks once a
 * minute for one that has ended and closes it, unless somebody has waited for it.
 *
 * Thread-specific data: a key holds one value per thread, null at first. Destructors run when a
 * thread ends by ZutThreadExit or by returning from the function it was created with. */
typedef ZutWord ZutThreadId;
typedef uint32_t ZutTsdKey;
#define Z_TSD_KEY_INVALID 0xFFFFFFFFu
#define Z_THREAD_ATTR_NAMED 1
typedef ZutWord(Z_CALL *ZutThreadFunc)(ZutWord argument);
typedef void(Z_CALL *ZutTsdDestroyFunc)(void *value);
/* Start a thread that runs function(argument); what it returns is the thread's exit code. The
 * first form calls ZutInitThreads before. Attributes are pairs of a kind (int32_t) and a string,
 * ended by a kind of 0; the only kind is Z_THREAD_ATTR_NAMED, the only name "thread_bounded", which
 * changes nothing. They are read only while the option _thread_create_check_varargs is on.
 * Result   the thread, or 0.
 * Errors   3 for a null function; 7 for another kind; 2 when the system refuses. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadCreate(ZutThreadFunc function, ZutWord argument, ...);
Z_EXPORT ZutThreadId Z_CALL ZutThreadCreateVa(ZutThreadFunc function, ZutWord argument,
                                              va_list attributes);
/* The calling thread's value; adopts a thread that the library does not know yet.
 * Result   0 without an error before ZutInitThreads; 0 with error 2 when the system refuses. */
Z_EXPORT ZutThreadId Z_CALL ZutThreadSelf(void);
Z_EXPORT int32_t Z_CALL ZutThreadEqual(ZutThreadId a, ZutThreadId b);
/* Ends the calling thread. Calls every key's destructor, oldest key first, once, with the thread's
 * value even if that is null; the value is cleared before. They run while the process mutex is
 * held: none may wait for a thread that needs it, nor end the thread. A destructor may create and
 * destroy keys; that of a key created meanwhile is not called. ZutThreadSelf, the error number and
 * the result buffers work in destructors. On Linux the thread's stack is unwound: no function on
 * it may be noexcept. */
Z_EXPORT void Z_CALL ZutThreadExit(ZutWord code);
/* Waits until a created or adopted thread has ended, then closes its value. `code_out` may be null;
 * the exit code has 32 bits on Windows, and is 0 for adopted threads that ended by other means than
 * ZutThreadExit on Linux. A thread that waits for itself waits for ever.
 * Errors   2 for a value that is no thread (any more). */
Z_EXPORT int32_t Z_CALL ZutThreadWait(ZutThreadId thread, ZutWord *code_out);
/* Closes the value of a created thread, which runs on. An adopted thread's value stays the
 * library's. Result 1. */
Z_EXPORT int32_t Z_CALL ZutThreadDetach(ZutThreadId thread);
Z_EXPORT ZutThreadId Z_CALL ZutThreadPosixGetInvalid(void);
/* Creates a key. Null as destructor is none.
 * Result   0 without an error when the system's keys (Linux 1024, Windows 1088) are used up. */
Z_EXPORT int32_t Z_CALL ZutTsdKeyCreate(ZutTsdKey *key_out, ZutTsdDestroyFunc destructor);
/* Frees a key without calling its destructor for anybody's value.
 * Errors   7 for the invalid key; none when the system does not know the key. */
Z_EXPORT int32_t Z_CALL ZutTsdKeyDestroy(ZutTsdKey key);
/* The calling thread's value. The read gives 0, and no error, for a null value. Errors 7 for the
 * invalid key. */
Z_EXPORT int32_t Z_CALL ZutTsdGetValue(ZutTsdKey key, void **value_out);
Z_EXPORT int32_t Z_CALL ZutTsdSetValue(ZutTsdKey key, void *value);
/* The library's own 520 bytes of the calling thread. The first two 32-bit words are the command
 * interpreter's state and the thread's error number; the rest is the library's. Freed when the
 * thread ends, however it ends. */
Z_EXPORT void *Z_CALL ZutGetLibTsdValue(void);
/* Ends the thread that looks after adopted threads, for good; takes half a second.
 * Result   that of waking it: 0 with error 7 when it never ran. */
Z_EXPORT int32_t Z_CALL ZutEndImportThreadCheckerThread(void);

/* ---- Mutexes, conditions, spinlocks (utlock) ---- */
/* Fast mutexes serve one process and are made for speed; kernel mutexes are the system's own.
 * Either may be locked again by its holder, one unlock each. `owner` 1: the caller holds the new
 * mutex. A null mutex, condition or spinlock is error 7 here, and so are an owner other than 0 and
 * 1 and a timeout that is not a number or below 0 other than -1.0.
 *
 * ZutMutexCreate makes a kernel mutex (errors 2), the other two a fast one. */
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreate(int32_t owner);
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreateFast(int32_t owner);
Z_EXPORT ZutMutex *Z_CALL ZutMutexCreateEx(int32_t owner);
/* Frees a mutex that nobody uses.
 * Errors   2 for a kernel mutex that the system refuses to close; the record is freed even so. */
Z_EXPORT int32_t Z_CALL ZutMutexDestroy(ZutMutex *mutex);
/* Takes `mutex`, waiting at most `timeout` seconds (kernel: whole milliseconds). A kernel mutex
 * whose holder died is taken like a free one.
 * Errors   9 on time-out, except that a fast mutex which has waited sets none: test the result;
 *          2 when the system refuses.
 * Threads  any. Timed fast locks poll ten times a second. */
Z_EXPORT int32_t Z_CALL ZutMutexLock(ZutMutex *mutex, double timeout);
/* Gives one lock back.
 * Errors   a thread that does not hold the mutex changes nothing: 2 for a kernel mutex, 7 for a
 *          fast one. */
Z_EXPORT int32_t Z_CALL ZutMutexUnlock(ZutMutex *mutex);
/* A mutex that other processes find by its name. The result is the system's own object, not a
 * ZutMutex: a HANDLE on Windows; on Linux a pthread_mutex_t *, recursive and robust, to be used
 * with the pthread calls (mind EOWNERDEAD), for processes of the same user. It lives as long as a
 * process that created or attached it, however that ends; on Linux a process keeps it to its end.
 * The first creates and never opens, the second opens and never creates.
 * Errors   3 for a null name; 2, with the system's "already exists" (183; on Linux EEXIST) when the
 *          name is taken. */
Z_EXPORT void *Z_CALL ZutMutexCreateNamedNp(const char *name, int32_t owner);
Z_EXPORT void *Z_CALL ZutMutexAttachNamedNp(const char *name);
/* Conditions. A named one is shared between processes, like named mutexes and under the same names.
 * Errors   3 for a null name; 2 as for named mutexes. */
Z_EXPORT ZutCond *Z_CALL ZutCondCreate(void);
Z_EXPORT ZutCond *Z_CALL ZutCondCreateNamedNp(const char *name);
Z_EXPORT ZutCond *Z_CALL ZutCondAttachNamedNp(const char *name);
Z_EXPORT int32_t Z_CALL ZutCondDestroy(ZutCond *cond);
/* Releases every thread that waits at this moment. A wake before a wait is not seen by it: test the
 * predicate under the mutex before waiting and again after. */
Z_EXPORT int32_t Z_CALL ZutCondWakeAll(ZutCond *cond);
/* Gives `mutex`, which the caller holds once, back and waits for a wake, at most `timeout` seconds
 * (whole milliseconds); then takes the mutex again, however long that takes.
 * Errors   7 also for a timeout of 0.0, and for a fast mutex that the caller does not hold; 9 on
 *          time-out; 2 when the system refuses, and only then is the mutex not held on return.
 * Windows  of a named condition a thread may miss a wake when another thread begins to wait at the
 *          same moment: wait with a timeout there. */
Z_EXPORT int32_t Z_CALL ZutCondWait(ZutCond *cond, ZutMutex *mutex, double timeout);
/* Spinlocks: a thread that waits keeps its processor busy, without end. Not for its holder to take
 * again; for sections of a few instructions. */
Z_EXPORT ZutSpinlock *Z_CALL ZutSpinlockCreate(int32_t owner);
Z_EXPORT int32_t Z_CALL ZutSpinlockLock(ZutSpinlock *lock);
Z_EXPORT int32_t Z_CALL ZutSpinlockUnlock(ZutSpinlock *lock);
Z_EXPORT int32_t Z_CALL ZutSpinlockDestroy(ZutSpinlock *lock);

/* ---- Reader-writer mutex (rwmutex) ---- */
/* Many threads read, or one writes. Who reads may read again, even while writers wait; who writes
 * may read or write again; each lock needs one unlock. Waiting writers go before new readers, and
 * waiting upgrades before writers. Nobody but holders is considered: do not wait for another thread
 * while you hold one, nor for a second lock of this kind that is held by someone who may wait for
 * yours - two threads that each read what the other wants to write wait for ever.
 *
 * The read quota is the number of threads expected to read at once, 1 to 32. It grows when there
 * are more. `owner` 1: the caller writes at once. A null mutex is error 7; so are an owner or quota
 * out of range. */
Z_EXPORT ZutRwMutex *Z_CALL ZutRwMutexCreate(int32_t owner, int32_t quota);
/* Frees it without waiting for holders: there must be none but the caller. */
Z_EXPORT int32_t Z_CALL ZutRwMutexDestroy(ZutRwMutex *mutex);
Z_EXPORT int32_t Z_CALL ZutRwMutexGetReadQuota(ZutRwMutex *mutex, int32_t *quota_out);
/* Waits until it may write, and must not be called while reading. */
Z_EXPORT int32_t Z_CALL ZutRwMutexSetReadQuota(ZutRwMutex *mutex, int32_t quota);
/* Both wait for ever. A reader that asks to write waits as in an upgrade, and has afterwards as
 * many locks as it had plus one. */
Z_EXPORT int32_t Z_CALL ZutRwMutexReadLock(ZutRwMutex *mutex);
Z_EXPORT int32_t Z_CALL ZutRwMutexWriteLock(ZutRwMutex *mutex);
/* Gives the caller's latest lock back.
 * Errors   7 when the caller holds none; nothing changes. */
Z_EXPORT int32_t Z_CALL ZutRwMutexUnlock(ZutRwMutex *mutex);
/* Makes the caller's read locks as many write locks: at once when nobody else reads, otherwise when
 * the others have left. While it waits its read locks do not hold others back: another reader's
 * upgrade may write before it, so look again at what was read. Each wait in between gets the whole
 * timeout anew. 1 without change when nobody reads.
 * Errors   4 for a timeout below 0 other than -1.0 or not a number; 9 on time-out, at once for 0.0:
 *          the caller still reads; 7 when others read and the caller does not. */
Z_EXPORT int32_t Z_CALL ZutRwMutexUpgradeLock(ZutRwMutex *mutex, double timeout);
/* Does the calling thread read (or write) it? Does it write it? */
Z_EXPORT int32_t Z_CALL ZutRwMutexReadLocked(ZutRwMutex *mutex);
Z_EXPORT int32_t Z_CALL ZutRwMutexWriteLocked(ZutRwMutex *mutex);

/* ---- Interrupt counter (interrupt) ---- */
/* SIGINT (Ctrl-C) raises a counter instead of ending the program; what takes long reads it. A
 * count above the limit, 5 or what VN_INTERRUPT_MAX says, ends the process by abort.
 *
 * Reads VN_INTERRUPT_MAX and installs the handler. On Linux a signal also breaks a read that waits
 * off, with EINTR. Errors 1, with message 5130, when the system refuses. */
Z_EXPORT int32_t Z_CALL ZutInterruptInit(void);
/* The counter. Any thread and any signal handler may use it. Set gives its argument back, Incr and
 * Reset the new count. */
Z_EXPORT int32_t Z_CALL ZutInterruptGet(void);
Z_EXPORT int32_t Z_CALL ZutInterruptSet(int32_t value);
Z_EXPORT int32_t Z_CALL ZutInterruptIncr(void);
Z_EXPORT int32_t Z_CALL ZutInterruptReset(void);
/* The handler, for programs that install it themselves. It waits for no lock, allocates nothing
 * and keeps errno. */
Z_EXPORT void ZutSigintHandler(int signal_number);
