// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderCache.h"

namespace quillbrook {

// A mounted volume of ours.
struct ReachableVolume {
  std::string mountPoint;
  FileDescriptor source;  // opened with O_PATH; not open: this process may not reach beneath this mount
  bool isInPlace = false;
  bool isReadOnly = false;
  std::vector<std::string> mountsOnTop;  // mount points of whatever is mounted inside it
  // Backing folders by inode number, which the mount shows too; null where the numbers do not tell folders apart, or
  // something is mounted inside.
  std::unique_ptr<FolderCache> folders;
};

}  // namespace quillbrook
