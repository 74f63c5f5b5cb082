// SPDX-License-Identifier: MIT
#include "Platform/Linux/FolderCache.h"

#include <algorithm>
#include <utility>

namespace quillbrook {

std::shared_ptr<const FileDescriptor> FolderCache::find(std::uint64_t inode) const {
  const std::lock_guard guard(mutex_);
  const auto found = std::ranges::find(entries_, inode, &Entry::inode);
  return found == entries_.end() ? nullptr : found->folder;
}

void FolderCache::insert(std::uint64_t inode, std::shared_ptr<const FileDescriptor> folder) {
  const std::lock_guard guard(mutex_);
  entries_[oldest_] = {.inode = inode, .folder = std::move(folder)};
  oldest_ = (oldest_ + 1) % entries_.size();
}

}  // namespace quillbrook
