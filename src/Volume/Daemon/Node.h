// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Volume/Daemon/ContentVersion.h"
#include "Volume/Daemon/InodeDescriptor.h"
#include "Volume/Daemon/InodeKey.h"
#include "Volume/Daemon/OpenFile.h"
#include "Volume/Daemon/SharedMutex.h"

namespace quillbrook {

// One file or folder that the kernel knows. The kernel's number for it is its address.
//
// Lock order: a file's `lock`; then `lock` of the folders of its names, of two folders the one at the lower address
// first; then the node table's mutex; then the descriptor cache's.
//
// `lock` of a file guards which inode it is and in which form its content stands:
// - Whoever touches the inode (reads, writes, attributes, links) shares it from finding the inode to the end of the
//   call; so a chmod or a new hard link cannot hit an inode that is being replaced.
// - Opening, closing, expanding, truncating and replacing have it alone. So between the test "nobody has it open for
//   writing" and the rename of a replacement nobody can open it, and a write is either counted in or comes to the new
//   inode.
// - `open` says who has the file open. A handle open for writing stands there before the kernel is told of it, and
//   until the kernel has let go of it and of every map made by it.
//
// `lock` of a folder guards its names:
// - Whoever changes a name has it alone, from finding what the name stands for to the entry in the node table.
// - Whoever looks a name up shares it, so what the table says of a name is what the folder says.
// It is never held while a path is resolved, which takes the locks of the folders above.
struct Node : std::enable_shared_from_this<Node> {
  struct Link {
    std::shared_ptr<Node> parent;
    std::string name;
    friend bool operator==(const Link&, const Link&) = default;
  };

  Node(mode_t kindBits, ino_t number, std::uint64_t uniqueGeneration)
      : kind(kindBits), shownInode(number), generation(uniqueGeneration) {}

  const mode_t kind;  // S_IFMT bits
  // st_ino as programs see it: the inode's number at first sight, also after a replacement.
  const ino_t shownInode;
  const std::uint64_t generation;

  SharedMutex lock;
  std::unique_ptr<OpenFile> open QB_GUARDED_BY(lock);  // none while no handle is open
  // What stood behind the pages that the kernel may still have, if they can be kept at the next open.
  std::optional<ContentVersion> cachedVersion QB_GUARDED_BY(lock);

  // The kernel lets programs write, perhaps by a map that outlives its handle, without telling anybody of the times
  // that this changes: it must not keep attributes.
  std::atomic<bool> isWrittenPastDaemon = false;

  // Guarded by the node table's mutex.
  InodeKey key;
  bool isCurrent = true;  // false: the table knows another node, or none, under `key`
  std::uint64_t lookupCount = 0;
  std::uint64_t childCount = 0;  // links of other nodes whose parent this is
  std::vector<Link> links;
  SharedDescriptor pinned;  // what has lost its last known name
};

}  // namespace quillbrook
