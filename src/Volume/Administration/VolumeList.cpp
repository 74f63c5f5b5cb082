// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeList.h"

#include "Platform/Linux/DaemonAddress.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {

Result<std::vector<VolumeListing>> VolumeList::read() {
  const auto mounted = MountedVolumes::read();
  if (!mounted) return std::unexpected(mounted.error());
  std::vector<VolumeListing> volumes;
  for (const MountedVolume& mount : *mounted) {
    // One that lies under another mount cannot be asked, and is nobody's volume any more.
    if (!mount.isTopmost) continue;
    VolumeListing volume{.mountPoint = mount.mountPoint,
                         .source = mount.source,
                         .owner = mount.owner,
                         .daemon = std::nullopt,
                         .isReadOnly = mount.isReadOnly,
                         .condition = VolumeListing::Condition::alive};
    if (const auto address = DaemonAddress::ask(mount.mountPoint)) {
      volume.daemon = address->process;
    } else if (DaemonAddress::hasDied(address.error())) {
      volume.condition = VolumeListing::Condition::stale;
    } else {
      volume.condition = VolumeListing::Condition::closed;
    }
    volumes.push_back(std::move(volume));
  }
  return volumes;
}

}  // namespace quillbrook
