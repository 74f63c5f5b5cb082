// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <list>
#include <unordered_map>
#include <utility>

#include "Platform/Mutex.h"
#include "Volume/Daemon/Node.h"

namespace quillbrook {

// Descriptors (O_PATH) of the nodes used last: a tree has more of them than a process may open. Any thread.
class DescriptorCache {
 public:
  explicit DescriptorCache(std::size_t capacity) : capacity_(capacity) {}

  // None if it is not there.
  [[nodiscard]] SharedDescriptor find(const Node& node);
  void insert(const Node& node, SharedDescriptor descriptor);
  // Takes it out. The caller lets go of it where it holds no lock: an inode's last descriptor is closed slowly.
  [[nodiscard]] SharedDescriptor take(const Node& node);

 private:
  using Entry = std::pair<const Node*, SharedDescriptor>;

  const std::size_t capacity_;
  Mutex mutex_;
  std::list<Entry> entries_ QB_GUARDED_BY(mutex_);  // used last first
  std::unordered_map<const Node*, std::list<Entry>::iterator> positions_ QB_GUARDED_BY(mutex_);
};

}  // namespace quillbrook
