// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <cstdlib>

#include "Platform/ThreadSafety.h"

namespace quillbrook {

// Many may share it or one may have it alone. Who waits for it alone goes before those who come to share it later, so
// that a file that is read all the time can still be opened for writing. Nobody may take it twice.
class QB_CAPABILITY("shared mutex") SharedMutex {
 public:
  SharedMutex() {
    pthread_rwlockattr_t attributes;
    demand(pthread_rwlockattr_init(&attributes));
    demand(pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP));
    demand(pthread_rwlock_init(&lock_, &attributes));
    demand(pthread_rwlockattr_destroy(&attributes));
  }
  ~SharedMutex() { demand(pthread_rwlock_destroy(&lock_)); }
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  void lock() QB_ACQUIRE() { demand(pthread_rwlock_wrlock(&lock_)); }
  void unlock() QB_RELEASE() { demand(pthread_rwlock_unlock(&lock_)); }
  void lockShared() QB_ACQUIRE_SHARED() { demand(pthread_rwlock_rdlock(&lock_)); }
  void unlockShared() QB_RELEASE_SHARED() { demand(pthread_rwlock_unlock(&lock_)); }

 private:
  // Going on without the lock would be going on with anything at all.
  static void demand(int error) {
    if (error != 0) std::abort();
  }

  pthread_rwlock_t lock_;
};

class QB_SCOPED_CAPABILITY ExclusiveLock {
 public:
  explicit ExclusiveLock(SharedMutex& mutex) QB_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~ExclusiveLock() QB_RELEASE() { mutex_.unlock(); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  SharedMutex& mutex_;
};

class QB_SCOPED_CAPABILITY SharedLock {
 public:
  explicit SharedLock(SharedMutex& mutex) QB_ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.lockShared(); }
  ~SharedLock() QB_RELEASE_GENERIC() { mutex_.unlockShared(); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  SharedMutex& mutex_;
};

}  // namespace quillbrook
