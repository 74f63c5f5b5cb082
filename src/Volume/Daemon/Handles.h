// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Daemon/Handle.h"
#include "Volume/Daemon/Reply.h"
#include "Volume/Daemon/Volume.h"

// Open handles of regular files. Their number for the kernel is what they are, packed: nothing is kept for each.
namespace quillbrook::Handles {

[[nodiscard]] std::uint64_t number(Handle handle);
[[nodiscard]] Handle handle(std::uint64_t number);

// Opens as open(2) would with `flags`. Before a handle that can write is given away, and before O_TRUNC, the file is
// made an ordinary one. `caller` is the user for whom set-id bits fall.
[[nodiscard]] Result<Reply::Opened> open(Volume& volume, Node& node, int flags, uid_t caller);
// Takes over `file`, which was just created with `flags`.
[[nodiscard]] Result<Reply::Opened> adopt(Volume& volume, Node& node, FileDescriptor file, int flags);
void release(Node& node, Handle handle);

// Whether a program may be writing to the inode itself, by a handle or by a map that outlives it. Once nobody can any
// more, the kernel may keep attributes again.
[[nodiscard]] bool isWrittenPast(Volume& volume, Node& node) QB_REQUIRES_SHARED(node.lock);

}  // namespace quillbrook::Handles
