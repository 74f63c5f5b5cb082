// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// The inode flags that chattr sets. Descriptors must be open for reading or writing; file systems without such flags
// answer ENOTTY or `notSupported`.
namespace HostFlags {

[[nodiscard]] Result<std::uint32_t> read(int file);

// What a file gets from the one that it stands in for: no-dump, no-atime, synchronous, no-copy-on-write. The last can
// be set only while the file is empty. What the file system does not know stays off.
void carry(int from, int to);

// Sets or clears no-dump.
[[nodiscard]] Result<void> setNoDump(int file, bool isOn);

}  // namespace HostFlags

}  // namespace quillbrook
