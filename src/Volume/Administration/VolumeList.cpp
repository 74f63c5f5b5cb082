// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeList.h"

#include <cerrno>

#include "Volume/Administration/DaemonAddress.h"
#include "Volume/Administration/MountRecords.h"

namespace quillbrook {

Result<std::vector<VolumeListing>> VolumeList::read() {
  const auto table = MountRecords::read();
  if (!table) return std::unexpected(table.error());
  std::vector<VolumeListing> volumes;
  for (const MountRecord& mount : *table) {
    // A mount that lies under another one cannot be asked, and is nobody's volume any more.
    if (!MountRecords::isVolume(mount) || MountRecords::at(*table, mount.mountPoint) != &mount) continue;
    VolumeListing volume{.mountPoint = mount.mountPoint,
                         .source = mount.source,
                         .owner = mount.userIdentifier.value_or(0),
                         .daemon = std::nullopt,
                         .isReadOnly = mount.isReadOnly,
                         .condition = VolumeListing::Condition::alive};
    if (const auto address = DaemonAddress::ask(mount.mountPoint)) {
      volume.daemon = address->process;
    } else if (address.error().value == ENOTCONN) {
      volume.condition = VolumeListing::Condition::stale;
    } else {
      volume.condition = VolumeListing::Condition::closed;
    }
    volumes.push_back(std::move(volume));
  }
  return volumes;
}

}  // namespace quillbrook
