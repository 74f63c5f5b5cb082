// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumeNesting.h"

#include "Platform/Linux/FolderPath.h"

namespace quillbrook {

std::optional<VolumeNesting> VolumeNesting::find(const FilePath& folder, const FilePath& mountPoint,
                                                 const FilePath& source) {
  for (const FilePath& place : {mountPoint, source}) {
    if (FolderPath::contains(place, folder)) return VolumeNesting{.place = place, .isInside = true};
    if (FolderPath::contains(folder, place)) return VolumeNesting{.place = place, .isInside = false};
  }
  return std::nullopt;
}

}  // namespace quillbrook
