// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/ErrorNumber.h"
#include "Platform/FileKind.h"
#include "Platform/FileStatus.h"

// What lstat tells of an inode in the platform's terms: the host's answer, and what the inode's state says beyond it.
// Any thread.
namespace quillbrook::ShownStatus {

// As stat(2) tells it in the mode.
[[nodiscard]] FileKind kindOf(std::uint32_t mode);

// Of an open inode, also one opened with O_PATH.
[[nodiscard]] Result<FileStatus> of(int file);

// Of the entry `name` of an open folder, in two system calls. If the entry is replaced meanwhile, the answer may mix
// both.
[[nodiscard]] Result<FileStatus> at(int folder, const char* name);

}  // namespace quillbrook::ShownStatus
