// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountedVolumes.h"

#include <algorithm>

#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Administration/SmallFile.h"

namespace quillbrook {
namespace {

const FilePath tablePath("/proc/self/mountinfo");

}  // namespace

std::vector<MountedVolume> MountedVolumes::parse(std::string_view mountinfo) {
  const auto table = MountTable::parse(mountinfo);
  std::vector<MountedVolume> volumes;
  for (auto entry = table.begin(); entry != table.end(); ++entry) {
    if (entry->type != VolumeProtocol::mountType) continue;
    const bool isCovered =
        std::ranges::find(entry + 1, table.end(), entry->mountPoint, &MountEntry::mountPoint) != table.end();
    volumes.push_back({.mountPoint = FilePath(entry->mountPoint),
                       .source = FilePath(entry->source),
                       .owner = entry->owner.value_or(0),
                       .isReadOnly = entry->isReadOnly,
                       .isTopmost = !isCovered});
  }
  return volumes;
}

Result<std::vector<MountedVolume>> MountedVolumes::read() {
  const auto text = SmallFile::read(tablePath);
  if (!text) return std::unexpected(text.error());
  return parse(*text);
}

std::unexpected<VolumeError> MountedVolumes::failure(ErrorNumber reason) {
  return systemFailure("read", tablePath, reason);
}

const MountedVolume* MountedVolumes::at(const std::vector<MountedVolume>& volumes, const FilePath& mountPoint) {
  const auto found = std::ranges::find_if(
      volumes, [&](const MountedVolume& volume) { return volume.isTopmost && volume.mountPoint == mountPoint; });
  return found == volumes.end() ? nullptr : &*found;
}

}  // namespace quillbrook
