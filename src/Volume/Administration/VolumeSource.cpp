// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Volume/Administration/DaemonAddress.h"
#include "Volume/Administration/FolderPath.h"
#include "Volume/Administration/MountRecords.h"

namespace quillbrook {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::expected<FileDescriptor, VolumeError> beneath(const MountRecord& mount) {
  const auto owner = mount.userIdentifier.value_or(0);
  if (owner != 0 && owner != ::getuid()) return std::unexpected(VolumeErrors::ForeignMount{mount.mountPoint, owner});
  const auto address = DaemonAddress::ask(mount.mountPoint);
  if (!address) {
    return systemFailure("reach the volume", mount.mountPoint, address.error());
  }
  FileDescriptor source(::open(address->source.c_str(), folderFlags));
  if (!source.isOpen()) {
    return systemFailure("open the folder beneath the volume", mount.mountPoint, ErrorNumber{errno});
  }
  return source;
}

}  // namespace

std::expected<VolumeSource, VolumeError> VolumeSource::open(const FilePath& folder) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  const auto table = MountRecords::read();
  if (!table) return systemFailure("read", FilePath("/proc/self/mountinfo"), table.error());
  const MountRecord* mount = MountRecords::at(*table, *resolved);
  if (mount != nullptr && MountRecords::isVolume(*mount)) {
    auto source = beneath(*mount);
    if (!source) return std::unexpected(std::move(source.error()));
    return VolumeSource{.folder = *resolved, .descriptor = std::move(*source), .isMounted = true};
  }
  FileDescriptor source(::open(resolved->c_str(), folderFlags));
  if (!source.isOpen()) return std::unexpected(VolumeErrors::NotAFolder{*resolved, ErrorNumber{errno}});
  return VolumeSource{.folder = *resolved, .descriptor = std::move(source), .isMounted = false};
}

}  // namespace quillbrook
