// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// Where an operation on a path really takes place. Inside a mounted volume that is the backing folder, reached from the
// volume's source beneath it and through no link; everywhere else, the folder as it is.
struct VolumePath {
  FileDescriptor folder;            // opened with O_PATH: the backing one where it is mapped
  FileDescriptor mountFolder;       // opened with O_PATH, through the mount; only where it is mapped
  std::string name;                 // in both
  bool acceptsCompression = false;  // it lies in a volume mounted in place

  [[nodiscard]] bool isMapped() const { return mountFolder.isOpen(); }
  // Leads to the entry through `folder`: "/proc/self/fd/<folder>/<name>".
  [[nodiscard]] std::string procPath() const;

  // The errors of opening the parent folder. A path that cannot be mapped safely is not mapped: the operation then goes
  // through the mount.
  [[nodiscard]] static Result<VolumePath> locate(const FilePath& path);
};

// One inode, opened with O_PATH, so that further calls cannot meet another one.
struct LocatedInode {
  FileDescriptor descriptor;
  bool acceptsCompression = false;
};

enum class FinalLink { follow, noFollow };

// Opens what stands at the place. A final link in a volume is followed through the mount, never beneath it.
[[nodiscard]] Result<LocatedInode> openInode(const VolumePath& place, const FilePath& path, FinalLink finalLink);
// Locates it first.
[[nodiscard]] Result<LocatedInode> openInode(const FilePath& path, FinalLink finalLink);

}  // namespace quillbrook
