// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <vector>

#include "Platform/FilePath.h"
#include "Platform/Linux/MountTable.h"

namespace quillbrook {

// A folder and a volume of which one lies in the other. A volume stands at its mount point and takes its content from
// its source; neither may lie in, or hold, another volume's.
struct VolumeNesting {
  FilePath place;         // the volume's mount point or its source: that which is in the way
  bool isInside = false;  // the folder lies in it, or is it; otherwise the folder holds it

  friend bool operator==(const VolumeNesting&, const VolumeNesting&) = default;

  // Nothing if they lie apart, also by way of bind mounts. All as FolderPath::resolve gives them. Any thread.
  [[nodiscard]] static std::optional<VolumeNesting> find(const FilePath& folder, const FilePath& mountPoint,
                                                         const FilePath& source, const std::vector<MountEntry>& table);
};

}  // namespace quillbrook
