// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <vector>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// What the kernel takes away from a file that is written to. A plain value.
struct KeptMetadata {
  static constexpr std::size_t capabilityMaximum = 64;  // bytes; the kernel's largest has 24

  std::uint32_t mode = 0;  // permissions and set-id bits
  timespec accessTime{};
  timespec modificationTime{};
  std::vector<std::uint8_t> capability;  // value of security.capability, empty if there is none

  // Of an open file. Errors as of fstat(2) and fgetxattr(2).
  [[nodiscard]] static Result<KeptMetadata> of(int file);

  // Gives back the mode, and then the capability, which a change of mode would clear. `notPermitted` for a capability
  // that the caller may not set.
  [[nodiscard]] Result<void> restorePermissions(int file) const;
  [[nodiscard]] Result<void> restoreTimes(int file) const;
};

}  // namespace quillbrook
