// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/ErrorNumber.h"

// The inode flags that chattr sets. Descriptors must be open for reading or writing.
namespace quillbrook::HostFlags {

// What another file gets that stands in for this one: no-dump, no-atime, synchronous, no-copy-on-write. None where they
// cannot be told.
[[nodiscard]] std::uint32_t carried(int file);
// Sets them. No-copy-on-write can be set only while the file is empty; what the file system does not know stays off.
void carry(std::uint32_t flags, int file);

// Sets or clears no-dump.
[[nodiscard]] Result<void> setNoDump(int file, bool isOn);

}  // namespace quillbrook::HostFlags
