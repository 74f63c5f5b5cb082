// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <compare>
#include <cstdint>

namespace quillbrook {

// Which inode on which file system, as the host numbers them now: numbers of removed files are used again, and those
// of file systems change from mount to mount.
struct InodeNumber {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;

  [[nodiscard]] static InodeNumber of(const struct stat& status) {
    return {.device = status.st_dev, .inode = status.st_ino};
  }
  friend auto operator<=>(const InodeNumber&, const InodeNumber&) = default;
};

}  // namespace quillbrook
