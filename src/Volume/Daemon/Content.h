// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cerrno>

#include "Platform/ErrorNumber.h"
#include "Volume/Daemon/Node.h"
#include "Volume/Daemon/OpenFile.h"
#include "Volume/Daemon/Volume.h"

// Changes of form and size. The caller holds the node's lock alone.
namespace quillbrook::Content {

// The file with its writing descriptor, ordinary from now on; emptied if `flags`, as of open(2), have O_TRUNC.
[[nodiscard]] Result<void> prepareWriting(Volume& volume, Node& node, OpenFile& open, int flags, uid_t caller)
    QB_REQUIRES(node.lock);
// The content for readers.
[[nodiscard]] Result<void> prepareReading(Volume& volume, Node& node, OpenFile& open) QB_REQUIRES(node.lock);
[[nodiscard]] Result<void> truncate(Volume& volume, Node& node, off_t byteCount, uid_t caller) QB_REQUIRES(node.lock);

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
[[nodiscard]] Result<void> dropSetIdentifiers(const Volume& volume, int file, uid_t caller);

}  // namespace quillbrook::Content
