// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>

namespace quillbrook {

// Which inode of the backing file systems.
struct InodeKey {
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const InodeKey&, const InodeKey&) = default;
};

struct InodeKeyHash {
  std::size_t operator()(const InodeKey& key) const noexcept {
    return std::hash<std::uint64_t>{}(key.inode ^ (key.device << 48U));
  }
};

}  // namespace quillbrook
