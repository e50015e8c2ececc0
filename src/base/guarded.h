// Lock rules that clang checks (-Wthread-safety, ./dev lint). Other compilers ignore them.
//
//   int32_t count Z_GUARDED_BY(utProcessLock);          read and written under the lock only
//   Option *find(const char *name) Z_REQUIRES(utProcessLock);      the caller holds the lock
//   void refresh() Z_EXCLUDES(utProcessLock);                      the caller must not hold it
#pragma once

#ifdef __clang__
#  define Z_SAFETY(attribute) __attribute__((attribute))
#else
#  define Z_SAFETY(attribute)
#endif

#define Z_CAPABILITY(name) Z_SAFETY(capability(name))
#define Z_SCOPED_CAPABILITY Z_SAFETY(scoped_lockable)
#define Z_GUARDED_BY(lock) Z_SAFETY(guarded_by(lock))
#define Z_REQUIRES(lock) Z_SAFETY(requires_capability(lock))
#define Z_EXCLUDES(lock) Z_SAFETY(locks_excluded(lock))
#define Z_ACQUIRE(lock) Z_SAFETY(acquire_capability(lock))
#define Z_RELEASE(...) Z_SAFETY(release_capability(__VA_ARGS__))
#define Z_TRY_ACQUIRE(result, lock) Z_SAFETY(try_acquire_capability(result, lock))
#define Z_UNCHECKED Z_SAFETY(no_thread_safety_analysis)
