// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeRegistry.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY;

std::expected<FileDescriptor, VolumeError> beneath(const MountedVolume& mount) {
  if (mount.owner != 0 && mount.owner != ::geteuid()) {
    return std::unexpected(VolumeErrors::ForeignMount{mount.mountPoint, mount.owner});
  }
  const auto failed = [&](ErrorNumber reason) {
    return systemFailure("reach the folder beneath the volume", mount.mountPoint, reason);
  };
  const auto address = DaemonAddress::ask(mount.mountPoint);
  if (!address) return failed(address.error());
  const auto root = SystemCall::openAt(AT_FDCWD, mount.mountPoint.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (!root) return failed(root.error());
  const auto place = VolumeRegistry::place(root->get());
  const auto volume = place ? VolumeRegistry::find(root->get(), place->mountIdentifier) : nullptr;
  if (!volume || !volume->source.isOpen()) {
    // What the registry does not trust may simply be closed to the caller: then that is the reason.
    const auto named = SystemCall::openAt(AT_FDCWD, address->source.c_str(), folderFlags);
    return failed(named ? ErrorNumber{ESTALE} : named.error());
  }
  auto source = SystemCall::openAt(volume->source.get(), ".", folderFlags);
  if (!source) return failed(source.error());
  return std::move(*source);
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
  auto source = SystemCall::openAt(AT_FDCWD, resolved->c_str(), folderFlags);
  if (!source) return std::unexpected(VolumeErrors::NotAFolder{*resolved, source.error()});
  const bool isServed = std::ranges::find(*volumes, *resolved, &MountedVolume::source) != volumes->end();
  return VolumeSource{.folder = *resolved, .descriptor = std::move(*source), .isServed = isServed};
}

}  // namespace quillbrook
