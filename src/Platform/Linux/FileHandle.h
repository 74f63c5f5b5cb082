// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"

// The kernel's own handle of an inode, by which it is found on its file system whatever its name
// (name_to_handle_at(2)).
namespace quillbrook::FileHandle {

// Type and bytes in one. Nothing where the file system makes none.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> of(int file);

// With O_PATH, on the file system on which the open `mount` lies. Not open if the inode is gone, the bytes are no
// handle, or this process may not ask for it.
[[nodiscard]] FileDescriptor open(int mount, std::span<const std::uint8_t> handle);

}  // namespace quillbrook::FileHandle
