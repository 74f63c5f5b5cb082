// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Mutex.h"

namespace quillbrook {

// Folders reached a moment ago, by their inode number. Only for a file system that never gives one number to two inodes
// at once: while a folder is kept open, its number cannot go to another. Any thread.
class FolderCache {
 public:
  // Null when it is not known.
  [[nodiscard]] std::shared_ptr<const FileDescriptor> find(std::uint64_t inode) const;
  // Takes the oldest one's place.
  void insert(std::uint64_t inode, std::shared_ptr<const FileDescriptor> folder);

 private:
  struct Entry {
    std::uint64_t inode = 0;
    std::shared_ptr<const FileDescriptor> folder;
  };

  mutable Mutex mutex_;
  std::array<Entry, 16> entries_ QB_GUARDED_BY(mutex_);  // as many as workers can be in at once, twice over
  std::size_t oldest_ QB_GUARDED_BY(mutex_) = 0;
};

}  // namespace quillbrook
