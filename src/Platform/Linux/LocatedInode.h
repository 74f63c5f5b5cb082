// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumePath.h"

namespace quillbrook {

enum class FinalLink { follow, noFollow };

// One inode, opened with O_PATH, so that further calls cannot meet another one.
struct LocatedInode {
  FileDescriptor descriptor;
  bool acceptsCompression = false;
  bool isReadOnly = false;

  // What stands at the place. A final link in a volume is followed through the mount, never beneath it.
  [[nodiscard]] static Result<LocatedInode> open(const VolumePath& place, const FilePath& path, FinalLink finalLink);
  // Locates it first.
  [[nodiscard]] static Result<LocatedInode> open(const FilePath& path, FinalLink finalLink);
};

}  // namespace quillbrook
