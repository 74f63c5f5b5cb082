// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Platform/FilePath.h"

namespace quillbrook {

// The mount on which something lies, and its inode there.
struct MountPlace {
  std::uint64_t mountIdentifier = 0;  // never used twice where the kernel has such numbers (Linux 6.8)
  std::uint64_t inode = 0;

  friend bool operator==(const MountPlace&, const MountPlace&) = default;

  // Nothing where the kernel does not tell, or nothing stands there. Asks no daemon about a descriptor. Any thread.
  [[nodiscard]] static std::optional<MountPlace> of(int descriptor);
  [[nodiscard]] static std::optional<MountPlace> of(const FilePath& path);
};

}  // namespace quillbrook
