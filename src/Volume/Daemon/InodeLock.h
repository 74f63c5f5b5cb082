// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include "Volume/Daemon/Node.h"

namespace quillbrook {

// Shares the lock of what has content: a regular file. The inode of anything else is the same as long as the node
// lives, and a folder's lock must not be held while its path is resolved.
class InodeLock {
 public:
  explicit InodeLock(Node& node) QB_NO_THREAD_SAFETY_ANALYSIS : node_(node) {
    if (S_ISREG(node_.kind)) node_.lock.lockShared();
  }
  ~InodeLock() QB_NO_THREAD_SAFETY_ANALYSIS {
    if (S_ISREG(node_.kind)) node_.lock.unlockShared();
  }
  InodeLock(const InodeLock&) = delete;
  InodeLock& operator=(const InodeLock&) = delete;

 private:
  Node& node_;
};

}  // namespace quillbrook
