// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>

#include "Platform/ThreadSafety.h"

namespace quillbrook {

// std::mutex, whose use the compiler can check.
class QB_CAPABILITY("mutex") Mutex {
 public:
  void lock() QB_ACQUIRE() { mutex_.lock(); }
  void unlock() QB_RELEASE() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

class QB_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) QB_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() QB_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace quillbrook
