// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>

#include "Container/ContainerState.h"
#include "Volume/Daemon/DescriptorCache.h"
#include "Volume/Daemon/KernelSession.h"
#include "Volume/Daemon/Node.h"
#include "Volume/Daemon/NodeTable.h"
#include "Volume/Daemon/Notifier.h"
#include "Volume/Daemon/Options.h"
#include "Volume/Daemon/SourceFolder.h"

namespace quillbrook {

// Everything that one mounted volume consists of. The operations work on it, any number at once.
struct Volume {
  Volume(Options chosen, SourceFolder folder, std::size_t descriptorCapacity);

  const Options options;
  const SourceFolder source;
  // Whether the daemon may act for its callers: create what belongs to them.
  const bool isPrivileged;
  KernelSession kernel;  // before what gives its numbers for backing files back
  DescriptorCache descriptors;
  NodeTable nodes;
  Notifier notifier;

  // Seconds for which the kernel may keep names and attributes. In place nobody else changes what is under the mount.
  [[nodiscard]] double timeout() const { return source.isInPlace ? 86'400.0 : 1.0; }

  [[nodiscard]] Node& node(fuse_ino_t number) {
    // The kernel's number of every other node is its address, as number() gave it away.
    // NOLINTNEXTLINE(performance-no-int-to-ptr): so that no table has to be asked at each request
    return number == FUSE_ROOT_ID ? nodes.root() : *reinterpret_cast<Node*>(number);
  }
  [[nodiscard]] fuse_ino_t number(Node& node) {
    return &node == &nodes.root() ? FUSE_ROOT_ID : reinterpret_cast<fuse_ino_t>(&node);
  }
};

// In which form a file's content stands.
struct FileForm {
  std::optional<ContainerState> state;
  bool isDamaged = false;  // a state is there, but cannot be read

  // Whether the inode's own bytes are not its content.
  [[nodiscard]] bool isOrdinary() const {
    return !isDamaged && (!state || (!state->isSealed() && !state->isUnderConstruction()));
  }
  // The size that programs see.
  [[nodiscard]] off_t byteCount(off_t raw) const;
};

// From nodes to inodes.
namespace Inodes {

// The node's inode, reached through the descriptors of the folders above it and verified to be this very inode; no link
// is followed on the way. O_PATH, kept for later. Not to be called with a folder's lock held.
[[nodiscard]] Result<SharedDescriptor> descriptor(Volume& volume, Node& node);
// The same, opened anew with `flags`. For regular files and folders.
[[nodiscard]] Result<FileDescriptor> open(Volume& volume, Node& node, int flags);

[[nodiscard]] FileForm formOf(int file);
// Of what stands at `name` in a folder.
[[nodiscard]] FileForm formAt(int folder, const char* name, const struct stat& status);

// What programs see of it. `status` is the inode's own.
[[nodiscard]] struct stat shown(const Node& node, const struct stat& status, const FileForm& form);
[[nodiscard]] Result<struct stat> attributes(Volume& volume, Node& node);

}  // namespace Inodes
}  // namespace quillbrook
