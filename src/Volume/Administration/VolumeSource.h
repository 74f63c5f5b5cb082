// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// The folder in which a volume's files really lie, whether the volume is mounted or not. Any thread.
struct VolumeSource {
  FilePath folder;            // resolved, as the person knows it
  FileDescriptor descriptor;  // open for reading
  FileDescriptor volume;      // the source of the whole volume if `folder` is a part of one; otherwise not open
  bool isServed = false;      // a daemon is at work in it, whose volume is mounted here or elsewhere

  // Where the volume's private folder lies.
  [[nodiscard]] int root() const { return volume.isOpen() ? volume.get() : descriptor.get(); }

  // Beneath the mount if a volume is mounted at `folder` or shows it, else the folder itself. NotAFolder; ForeignMount
  // for a volume of neither the caller nor root, whose word is not taken; SystemFailure if its daemon has died, or if
  // what it names is closed to the caller or is not the folder that the mount shows.
  [[nodiscard]] static std::expected<VolumeSource, VolumeError> open(const FilePath& folder);
};

}  // namespace quillbrook
