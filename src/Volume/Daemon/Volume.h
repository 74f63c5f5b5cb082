// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>

#include <cstddef>

#include "Volume/Daemon/DescriptorCache.h"
#include "Volume/Daemon/KernelSession.h"
#include "Volume/Daemon/Node.h"
#include "Volume/Daemon/NodeTable.h"
#include "Volume/Daemon/Options.h"
#include "Volume/Daemon/SourceFolder.h"

namespace quillbrook {

// Everything that one mounted volume consists of. The operations work on it, any number at once.
struct Volume {
  Volume(Options chosen, SourceFolder folder, std::size_t descriptorCapacity);

  // Whom a request is for.
  [[nodiscard]] static Volume& of(fuse_req_t request) { return *static_cast<Volume*>(fuse_req_userdata(request)); }

  const Options options;
  const SourceFolder source;
  // Whether the daemon may act for its callers: create what belongs to them.
  const bool isPrivileged;
  KernelSession kernel;  // before what gives its numbers for backing files back
  DescriptorCache descriptors;
  NodeTable nodes;

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

}  // namespace quillbrook
