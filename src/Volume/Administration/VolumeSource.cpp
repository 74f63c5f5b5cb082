// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Volume/Administration/DaemonAddress.h"
#include "Volume/Administration/FolderPath.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

std::expected<FileDescriptor, VolumeError> beneath(const MountedVolume& mount) {
  if (mount.owner != 0 && mount.owner != ::getuid()) {
    return std::unexpected(VolumeErrors::ForeignMount{mount.mountPoint, mount.owner});
  }
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
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  const MountedVolume* mount = MountedVolumes::at(*volumes, *resolved);
  if (mount != nullptr) {
    auto source = beneath(*mount);
    if (!source) return std::unexpected(std::move(source.error()));
    return VolumeSource{.folder = *resolved, .descriptor = std::move(*source), .isServed = true};
  }
  FileDescriptor source(::open(resolved->c_str(), folderFlags));
  if (!source.isOpen()) return std::unexpected(VolumeErrors::NotAFolder{*resolved, ErrorNumber{errno}});
  const bool isServed = std::ranges::find(*volumes, *resolved, &MountedVolume::source) != volumes->end();
  return VolumeSource{.folder = *resolved, .descriptor = std::move(source), .isServed = isServed};
}

}  // namespace quillbrook
