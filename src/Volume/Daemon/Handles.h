// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Volume/Daemon/Reply.h"
#include "Volume/Daemon/Volume.h"

namespace quillbrook {

// Open handles of regular files. Their number for the kernel is what they are, packed: nothing is kept for each.
namespace Handles {

[[nodiscard]] std::uint64_t number(Handle handle);
[[nodiscard]] Handle handle(std::uint64_t number);

// Opens as open(2) would with `flags`. Before a handle that can write is given away, and before O_TRUNC, the file is
// made an ordinary one. `caller` is the user for whom set-id bits fall.
[[nodiscard]] Result<Reply::Opened> open(Volume& volume, Node& node, int flags, uid_t caller);
// Takes over `file`, which was just created with `flags`.
[[nodiscard]] Result<Reply::Opened> adopt(Volume& volume, Node& node, FileDescriptor file, int flags);
void release(Node& node, Handle handle);

}  // namespace Handles

// Changes of form and size. The caller holds the node's lock alone.
namespace Content {

// The file with its writing descriptor, ordinary from now on; emptied if `truncates`.
[[nodiscard]] Result<void> prepareWriting(Volume& volume, Node& node, OpenFile& open, bool truncates, uid_t caller)
    REQUIRES(node.lock);
// The content for readers.
[[nodiscard]] Result<void> prepareReading(Volume& volume, Node& node, OpenFile& open) REQUIRES(node.lock);
[[nodiscard]] Result<void> truncate(Volume& volume, Node& node, off_t byteCount, uid_t caller) REQUIRES(node.lock);

// Calls `operation(OpenFile&)` with the node's lock shared and its content ready: for readers, or, where that will do,
// for writers.
template <typename Operation>
auto sharing(Volume& volume, Node& node, bool acceptsWriter, Operation operation) -> decltype(operation(*node.open)) {
  while (true) {
    {
      const SharedLock lock(node.lock);
      if (!node.open) return std::unexpected(ErrorNumber{EBADF});
      if (node.open->reading || (acceptsWriter && node.open->writing.isOpen())) return operation(*node.open);
    }
    const ExclusiveLock lock(node.lock);
    if (!node.open) return std::unexpected(ErrorNumber{EBADF});
    if (const auto done = prepareReading(volume, node, *node.open); !done) return std::unexpected(done.error());
  }
}

// Takes the set-id bits away after a change of content by `caller`, as the host does for those who may not keep them.
void dropSetIdentifiers(const Volume& volume, int file, uid_t caller);

}  // namespace Content
}  // namespace quillbrook
