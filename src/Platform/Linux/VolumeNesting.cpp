// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumeNesting.h"

#include "Platform/Linux/FileSystemPlace.h"
#include "Platform/Linux/FolderPath.h"

namespace quillbrook {

std::optional<VolumeNesting> VolumeNesting::find(const FilePath& folder, const FilePath& mountPoint,
                                                 const FilePath& source, const std::vector<MountEntry>& table) {
  for (const FilePath& place : {mountPoint, source}) {
    if (FolderPath::contains(place, folder)) return VolumeNesting{.place = place, .isInside = true};
    if (FolderPath::contains(folder, place)) return VolumeNesting{.place = place, .isInside = false};
  }
  const auto here = FileSystemPlace::of(folder, table);
  const auto served = FileSystemPlace::of(source, table);
  if (here && served && served->contains(*here)) return VolumeNesting{.place = source, .isInside = true};
  if (here && served && here->contains(*served)) return VolumeNesting{.place = source, .isInside = false};
  return std::nullopt;
}

}  // namespace quillbrook
