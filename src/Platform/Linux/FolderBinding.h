// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FilePath.h"
#include "Platform/Linux/VolumePath.h"

namespace quillbrook {

// While it lives, paths into the folder of `place` lead this thread into that very folder, whatever its name leads to
// by now: whoever may rename folders above a locked file must not choose where a work file is made. Paths count as they
// are written. Begins and ends in one thread.
class FolderBinding {
 public:
  explicit FolderBinding(const VolumePath& place);
  ~FolderBinding();
  FolderBinding(const FolderBinding&) = delete;
  FolderBinding& operator=(const FolderBinding&) = delete;

  // What locate() answered for the folder, with another file's name; nothing if it is not bound.
  [[nodiscard]] static std::optional<VolumePath> find(const FilePath& folder, std::string_view name);

 private:
  FilePath folder_;
  bool isFirst_;  // an outer one ends it otherwise
};

}  // namespace quillbrook
