// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountedVolumes.h"

#include <algorithm>

#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

std::vector<MountedVolume> volumesIn(const std::vector<MountEntry>& table) {
  std::vector<MountedVolume> volumes;
  for (auto entry = table.begin(); entry != table.end(); ++entry) {
    if (entry->type != VolumeProtocol::mountType) continue;
    const bool isCovered =
        std::ranges::find(entry + 1, table.end(), entry->mountPoint, &MountEntry::mountPoint) != table.end();
    volumes.push_back({.mountPoint = FilePath(entry->mountPoint),
                       .source = FilePath(entry->source),
                       .owner = entry->owner.value_or(0),
                       .isReadOnly = entry->isReadOnly,
                       .isTopmost = !isCovered,
                       .admitsOthers = entry->admitsOthers});
  }
  return volumes;
}

}  // namespace

std::vector<MountedVolume> MountedVolumes::parse(std::string_view mountinfo) {
  return volumesIn(MountTable::parse(mountinfo));
}

Result<std::vector<MountedVolume>> MountedVolumes::read() {
  const auto table = MountTable::read();
  if (!table) return std::unexpected(table.error());
  return volumesIn(*table);
}

std::unexpected<VolumeError> MountedVolumes::failure(ErrorNumber reason) {
  return systemFailure("read", FilePath(MountTable::path), reason);
}

const MountedVolume* MountedVolumes::at(const std::vector<MountedVolume>& volumes, const FilePath& mountPoint) {
  const auto found = std::ranges::find_if(
      volumes, [&](const MountedVolume& volume) { return volume.isTopmost && volume.mountPoint == mountPoint; });
  return found == volumes.end() ? nullptr : &*found;
}

}  // namespace quillbrook
