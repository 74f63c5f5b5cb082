// SPDX-License-Identifier: MIT
#include "Volume/Daemon/DescriptorCache.h"

namespace quillbrook {

SharedDescriptor DescriptorCache::find(const Node& node) {
  const MutexLock lock(mutex_);
  const auto found = positions_.find(&node);
  if (found == positions_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->second;
}

void DescriptorCache::insert(const Node& node, SharedDescriptor descriptor) {
  SharedDescriptor evicted;  // closed behind the lock
  const MutexLock lock(mutex_);
  if (const auto found = positions_.find(&node); found != positions_.end()) return;
  entries_.emplace_front(&node, std::move(descriptor));
  positions_.emplace(&node, entries_.begin());
  if (entries_.size() <= capacity_) return;
  evicted = std::move(entries_.back().second);
  positions_.erase(entries_.back().first);
  entries_.pop_back();
}

SharedDescriptor DescriptorCache::take(const Node& node) {
  const MutexLock lock(mutex_);
  const auto found = positions_.find(&node);
  if (found == positions_.end()) return nullptr;
  SharedDescriptor taken = std::move(found->second->second);
  entries_.erase(found->second);
  positions_.erase(found);
  return taken;
}

}  // namespace quillbrook
