// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace quillbrook {

// Enough to tell whether pages that the kernel cached earlier still show the content.
struct ContentVersion {
  ino_t inode = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  std::uint64_t byteCount = 0;  // logical
  friend bool operator==(const ContentVersion&, const ContentVersion&) = default;
};

}  // namespace quillbrook
