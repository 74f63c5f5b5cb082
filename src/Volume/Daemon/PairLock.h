// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <functional>
#include <memory>

#include "Volume/Daemon/Node.h"

namespace quillbrook {

// The locks of two nodes, in the order that everybody keeps: the one at the lower address first. Of one node, if both
// are the same, its lock once. `Lock` is ExclusiveLock or SharedLock.
template <typename Lock>
class PairLock {
 public:
  PairLock(Node& one, Node& other) QB_NO_THREAD_SAFETY_ANALYSIS : first_(std::min(&one, &other, std::less<>())->lock) {
    if (&one != &other) second_ = std::make_unique<Lock>(std::max(&one, &other, std::less<>())->lock);
  }

 private:
  Lock first_;
  std::unique_ptr<Lock> second_;
};

}  // namespace quillbrook
