// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Daemon/FileForm.h"
#include "Volume/Daemon/InodeDescriptor.h"
#include "Volume/Daemon/Volume.h"

// From nodes to inodes.
namespace quillbrook::Inodes {

// The node's inode, reached through the descriptors of the folders above it and verified to be this very inode; no link
// is followed on the way. O_PATH, kept for later. Not to be called with a folder's lock held.
[[nodiscard]] Result<SharedDescriptor> descriptor(Volume& volume, Node& node);
// The same, opened anew with `flags`. For regular files and folders.
[[nodiscard]] Result<FileDescriptor> open(Volume& volume, Node& node, int flags);

// What programs see of it. `status` is the inode's own.
[[nodiscard]] struct stat shown(const Node& node, const struct stat& status, const FileForm& form);
[[nodiscard]] Result<struct stat> attributes(Volume& volume, Node& node);

}  // namespace quillbrook::Inodes
