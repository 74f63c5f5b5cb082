// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/ErrorNumber.h"
#include "Platform/FileStatus.h"

// st_flags and the creation time on Linux: partly the host's, partly in the state. `inode` is any descriptor.
namespace quillbrook::FileFlags {

// What the host itself keeps, from stx_attributes.
[[nodiscard]] std::uint32_t hostFlags(std::uint64_t attributes);

// chflags on one inode. `acceptsCompression`: it lies in a volume mounted in place.
[[nodiscard]] Result<void> set(int inode, std::uint32_t flags, bool acceptsCompression);

[[nodiscard]] Result<void> setCreationTime(int inode, Timestamp creation);

}  // namespace quillbrook::FileFlags
