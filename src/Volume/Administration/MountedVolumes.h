// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <string_view>
#include <vector>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// A volume as the kernel's mount table tells of it.
struct MountedVolume {
  FilePath mountPoint;
  FilePath source;
  std::uint32_t owner = 0;  // user who mounted it
  bool isReadOnly = false;
  bool isTopmost = true;      // nothing is mounted over it at the same place
  bool admitsOthers = false;  // users other than the owner

  friend bool operator==(const MountedVolume&, const MountedVolume&) = default;
};

// The volumes that this process sees. Any thread.
namespace MountedVolumes {

// In the order of mounting, later ones above earlier ones. Text as in /proc/self/mountinfo.
[[nodiscard]] std::vector<MountedVolume> parse(std::string_view mountinfo);

// As they are now, in the same order. Errors as of open(2) and read(2).
[[nodiscard]] Result<std::vector<MountedVolume>> read();
// What read() failed with, ready to be returned.
[[nodiscard]] std::unexpected<VolumeError> failure(ErrorNumber reason);

// The one that a program meets at exactly this place, given without links, "." and ".."; null if there is none or
// something else is mounted over it. Points into `volumes`.
[[nodiscard]] const MountedVolume* at(const std::vector<MountedVolume>& volumes, const FilePath& mountPoint);

}  // namespace MountedVolumes
}  // namespace quillbrook
