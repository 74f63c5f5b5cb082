// SPDX-License-Identifier: MIT
#include "Platform/Linux/FolderCache.h"

#include <algorithm>
#include <utility>

namespace quillbrook {

std::shared_ptr<const FileDescriptor> FolderCache::find(std::uint64_t inode) const {
  const MutexLock guard(mutex_);
  for (const Entry& entry : entries_) {
    if (entry.inode == inode) return entry.folder;
  }
  return nullptr;
}

void FolderCache::insert(std::uint64_t inode, std::shared_ptr<const FileDescriptor> folder) {
  const MutexLock guard(mutex_);
  entries_[oldest_] = {.inode = inode, .folder = std::move(folder)};
  oldest_ = (oldest_ + 1) % entries_.size();
}

}  // namespace quillbrook
