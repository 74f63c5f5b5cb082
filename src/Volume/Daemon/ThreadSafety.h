// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

#include <mutex>

// Who guards what, checked by clang's -Wthread-safety and empty elsewhere.
#if defined(__clang__)
#define QUILLBROOK_THREAD(x) __attribute__((x))
#else
#define QUILLBROOK_THREAD(x)
#endif
#define CAPABILITY(x) QUILLBROOK_THREAD(capability(x))
#define SCOPED_CAPABILITY QUILLBROOK_THREAD(scoped_lockable)
#define GUARDED_BY(x) QUILLBROOK_THREAD(guarded_by(x))
#define REQUIRES(...) QUILLBROOK_THREAD(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) QUILLBROOK_THREAD(requires_shared_capability(__VA_ARGS__))
#define EXCLUDES(...) QUILLBROOK_THREAD(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) QUILLBROOK_THREAD(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) QUILLBROOK_THREAD(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) QUILLBROOK_THREAD(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) QUILLBROOK_THREAD(release_shared_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) QUILLBROOK_THREAD(release_generic_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QUILLBROOK_THREAD(no_thread_safety_analysis)

namespace quillbrook {

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

// Many may share it or one may have it alone. Who waits for it alone goes before those who come to share it later, so
// that a file that is read all the time can still be opened for writing. Nobody may take it twice.
class CAPABILITY("shared mutex") SharedMutex {
 public:
  SharedMutex() {
    pthread_rwlockattr_t attributes;
    pthread_rwlockattr_init(&attributes);
    pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    pthread_rwlock_init(&lock_, &attributes);
    pthread_rwlockattr_destroy(&attributes);
  }
  ~SharedMutex() { pthread_rwlock_destroy(&lock_); }
  SharedMutex(const SharedMutex&) = delete;
  SharedMutex& operator=(const SharedMutex&) = delete;

  void lock() ACQUIRE() { pthread_rwlock_wrlock(&lock_); }
  void unlock() RELEASE() { pthread_rwlock_unlock(&lock_); }
  void lockShared() ACQUIRE_SHARED() { pthread_rwlock_rdlock(&lock_); }
  void unlockShared() RELEASE_SHARED() { pthread_rwlock_unlock(&lock_); }

 private:
  pthread_rwlock_t lock_;
};

class SCOPED_CAPABILITY ExclusiveLock {
 public:
  explicit ExclusiveLock(SharedMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~ExclusiveLock() RELEASE() { mutex_.unlock(); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;

 private:
  SharedMutex& mutex_;
};

class SCOPED_CAPABILITY SharedLock {
 public:
  explicit SharedLock(SharedMutex& mutex) ACQUIRE_SHARED(mutex) : mutex_(mutex) { mutex_.lockShared(); }
  ~SharedLock() RELEASE_GENERIC() { mutex_.unlockShared(); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

 private:
  SharedMutex& mutex_;
};

}  // namespace quillbrook
