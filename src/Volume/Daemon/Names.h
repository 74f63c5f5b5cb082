// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "Volume/Daemon/Reply.h"
#include "Volume/Daemon/Volume.h"

// What stands under a name in a folder.
namespace quillbrook::Names {

// The volume's own folder, which the mount neither shows nor lets anybody make.
[[nodiscard]] bool isHidden(Volume& volume, const Node& folder, std::string_view name);

// A work file of the compression engine, which comes and goes underneath: the kernel must not remember it.
[[nodiscard]] bool isTransient(std::string_view name);

// Finds or makes the node of `name`, counting one lookup. `descriptor` is the folder's; the caller holds its lock.
[[nodiscard]] Result<Reply::Entry> find(Volume& volume, Node& folder, int descriptor, const char* name)
    QB_REQUIRES_SHARED(folder.lock);

// What removing or replacing `name` does to the nodes: the one that it stands for, with a descriptor of its inode in
// case that this is its last name.
struct Doomed {
  std::shared_ptr<Node> node;
  SharedDescriptor pin;
};
[[nodiscard]] Doomed doomed(Volume& volume, int descriptor, const char* name);

}  // namespace quillbrook::Names
