// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/MountPlace.h"

namespace quillbrook {

// Where an operation on a path really takes place. Inside a mounted volume that is the backing folder, reached from the
// volume's source beneath it and through no link; everywhere else, the folder as it is.
struct VolumePath {
  std::shared_ptr<const FileDescriptor> openFolder;  // with O_PATH: the backing one where it is mapped
  FilePath parent;                                   // of the path, as the caller gave it
  std::optional<MountPlace> placeOnMount;            // the parent's; only where it is mapped
  std::string name;                                  // in both folders
  bool acceptsCompression = false;                   // it lies in a volume mounted in place
  bool isReadOnly = false;                           // it lies in a volume mounted read-only

  [[nodiscard]] int folder() const { return openFolder->get(); }
  [[nodiscard]] bool isMapped() const { return placeOnMount.has_value(); }
  // The parent through the mount, with O_PATH. For a mapped place; `busy` if another folder stands there by now.
  [[nodiscard]] Result<FileDescriptor> openMountFolder() const;

  // The errors of opening the parent folder; `accessDenied` in a volume that this process may not reach beneath
  // (another user's, or a part of one that is mounted elsewhere too), since through such a mount nobody can tell a
  // compressed file. Any other path that cannot be mapped safely is not mapped: the operation then goes through the
  // mount.
  [[nodiscard]] static Result<VolumePath> locate(const FilePath& path);
};

}  // namespace quillbrook
