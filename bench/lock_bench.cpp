// Mutexes against std::recursive_mutex; the reader-writer mutex against std::shared_mutex,
// pthread_rwlock_t and boost::upgrade_mutex.
#define BOOST_THREAD_DONT_PROVIDE_INTERRUPTIONS // they alone need boost's library
#include "support/row.h"
#include "zut.h"

#include <boost/thread/shared_mutex.hpp>
#include <pthread.h>

#include <mutex>
#include <shared_mutex>

namespace {

struct FastMutex {
  ZutMutex *mutex = ZutMutexCreateFast(0);
  void lock() { ZutMutexLock(mutex, -1.0); }
  void unlock() { ZutMutexUnlock(mutex); }
};

struct ProcessMutex {
  void lock() { ZutProcessMutexLock(); }
  void unlock() { ZutProcessMutexUnlock(); }
};

struct OurRwMutex {
  ZutRwMutex *mutex = ZutRwMutexCreate(0, 32);
  void lock() { ZutRwMutexWriteLock(mutex); }
  void unlock() { ZutRwMutexUnlock(mutex); }
  void lock_shared() { ZutRwMutexReadLock(mutex); }
  void unlock_shared() { ZutRwMutexUnlock(mutex); }
  void lock_upgrade() { ZutRwMutexReadLock(mutex); }
  void unlock_upgrade_and_lock() { ZutRwMutexUpgradeLock(mutex, -1.0); }
};

struct PthreadRwMutex {
  pthread_rwlock_t mutex = PTHREAD_RWLOCK_INITIALIZER;
  void lock() { pthread_rwlock_wrlock(&mutex); }
  void unlock() { pthread_rwlock_unlock(&mutex); }
  void lock_shared() { pthread_rwlock_rdlock(&mutex); }
  void unlock_shared() { pthread_rwlock_unlock(&mutex); }
};

// One of each kind, for all threads.
template <class Mutex>
Mutex &theMutex() {
  static Mutex mutex;
  return mutex;
}

template <class Mutex>
void exclusive(benchmark::State &state) {
  Mutex &mutex = theMutex<Mutex>();
  for (auto _ : state) {
    mutex.lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}

// By a thread that holds it.
template <class Mutex>
void nested(benchmark::State &state) {
  Mutex &mutex = theMutex<Mutex>();
  mutex.lock();
  exclusive<Mutex>(state);
  mutex.unlock();
}

template <class Mutex>
void shared(benchmark::State &state) {
  Mutex &mutex = theMutex<Mutex>();
  for (auto _ : state) {
    mutex.lock_shared();
    benchmark::ClobberMemory();
    mutex.unlock_shared();
  }
}

template <class Mutex>
void upgraded(benchmark::State &state) {
  Mutex &mutex = theMutex<Mutex>();
  for (auto _ : state) {
    mutex.lock_upgrade();
    mutex.unlock_upgrade_and_lock();
    benchmark::ClobberMemory();
    mutex.unlock();
  }
}

template <class Mutex>
void addMutex(const std::string &row) {
  constexpr const char *peer = "std::recursive_mutex";
  using Peer = std::recursive_mutex;
  Row(row, "alone").ours(exclusive<Mutex>).peer(peer, exclusive<Peer>);
  Row(row, "nested").ours(nested<Mutex>).peer(peer, nested<Peer>);
  Row(row, "two threads").threads(2).ours(exclusive<Mutex>).peer(peer, exclusive<Peer>);
}

void addReaderWriter(Row row, auto &&ours, auto &&std, auto &&pthread) {
  row.ours(ours).peer("std::shared_mutex", std).peer("pthread_rwlock_t", pthread);
}

} // namespace

void addRows() {
  addMutex<FastMutex>("mutex");
  addMutex<ProcessMutex>("process mutex");
  addReaderWriter(Row("reader-writer", "read"), shared<OurRwMutex>, shared<std::shared_mutex>,
                  shared<PthreadRwMutex>);
  addReaderWriter(Row("reader-writer", "write"), exclusive<OurRwMutex>,
                  exclusive<std::shared_mutex>, exclusive<PthreadRwMutex>);
  addReaderWriter(Row("reader-writer", "read, two threads").threads(2), shared<OurRwMutex>,
                  shared<std::shared_mutex>, shared<PthreadRwMutex>);
  Row("reader-writer", "upgrade")
      .ours(upgraded<OurRwMutex>)
      .peer("boost::upgrade_mutex", upgraded<boost::upgrade_mutex>);
}
