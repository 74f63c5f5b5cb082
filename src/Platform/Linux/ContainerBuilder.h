// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "Container/ContainerState.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"

// A container under construction: a work file that gets its value, then its fork, and is sealed at last. `inode` is
// any descriptor of it, also one opened with O_PATH. What writing takes away from a file (set-id bits and file
// capabilities) is put back each time.
namespace quillbrook::ContainerBuilder {

// Sets com.apple.decmpfs on an empty file, or once more before there is a fork; `invalid` later.
[[nodiscard]] Result<void> setValue(int inode, std::span<const std::uint8_t> value);

// Replaces the fork of a container under construction whose state is `state`.
[[nodiscard]] Result<void> setFork(int inode, ContainerState state, std::span<const std::uint8_t> fork);

// The same piece by piece. The length is kept when the writer is closed.
[[nodiscard]] Result<std::unique_ptr<FileWriter>> openFork(int inode, ContainerState state);

// Writes checksums and trailer, and the state last of all. `flags` are those that the host does not keep itself,
// UF_COMPRESSED among them. Access and modification times stay. `invalid` if the value has no decmpfs header.
[[nodiscard]] Result<void> seal(int inode, ContainerState state, std::uint32_t flags);

}  // namespace quillbrook::ContainerBuilder
