// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeSource.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountPlace.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumePath.h"
#include "Platform/Linux/VolumeProtocol.h"
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
  if (!address && DaemonAddress::hasDied(address.error())) {
    return std::unexpected(VolumeErrors::DaemonDied{mount.mountPoint});
  }
  if (!address) return failed(address.error());
  const auto root = SystemCall::openAt(AT_FDCWD, mount.mountPoint.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (!root) return failed(root.error());
  const auto place = MountPlace::of(root->get());
  const auto volume = place ? VolumeRegistry::find(root->get(), place->mountIdentifier) : nullptr;
  if (!volume || !volume->source.isOpen()) {
    // What the registry does not trust may simply be closed to the caller: then that is the reason.
    const auto named = SystemCall::openAt(AT_FDCWD, address->source.c_str(), folderFlags);
    return failed(named ? ErrorNumber::stale : named.error());
  }
  auto source = SystemCall::openAt(volume->source.get(), ".", folderFlags);
  if (!source) return failed(source.error());
  return std::move(*source);
}

// Where a folder inside a mounted volume really lies; not open if it is not on the volume's own mount.
std::expected<FileDescriptor, VolumeError> partBeneath(const FilePath& folder) {
  const auto failed = [&](ErrorNumber reason) {
    return systemFailure("reach what lies beneath the volume at", folder, reason);
  };
  const auto opened = SystemCall::openAt(AT_FDCWD, folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (!opened) return failed(opened.error());
  const auto place = MountPlace::of(opened->get());
  if (!place) return failed(ErrorNumber::stale);
  if (!VolumeRegistry::find(opened->get(), place->mountIdentifier)) return FileDescriptor();
  // A place is told by the folder that it lies in, whatever its name.
  const auto located = VolumePath::locate(folder.appending(VolumeProtocol::privateFolder));
  if (!located) return failed(located.error());
  if (!located->isMapped()) return failed(ErrorNumber::stale);
  auto source = SystemCall::openAt(located->folder(), ".", folderFlags);
  if (!source) return failed(source.error());
  return std::move(*source);
}

// The source that an unmounted folder is a part of, by its private folder. Not open if there is none above it.
FileDescriptor sourceAround(const FilePath& folder) {
  for (FilePath place = folder; place.bytes() != "/";) {
    place = place.parent();
    auto source = SystemCall::openAt(AT_FDCWD, place.c_str(), folderFlags);
    if (!source) continue;
    const std::string name(VolumeProtocol::privateFolder);
    if (SystemCall::openAt(source->get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW)) return std::move(*source);
  }
  return {};
}

}  // namespace

std::expected<VolumeSource, VolumeError> VolumeSource::open(const FilePath& folder) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  const auto around = std::ranges::find_if(*volumes, [&](const MountedVolume& volume) {
    return volume.isTopmost && FolderPath::contains(volume.mountPoint, *resolved);
  });
  if (around != volumes->end() && around->mountPoint == *resolved) {
    auto source = beneath(*around);
    if (!source) return std::unexpected(std::move(source.error()));
    return VolumeSource{.folder = *resolved, .descriptor = std::move(*source), .volume = {}, .isServed = true};
  }
  if (around != volumes->end()) {
    auto part = partBeneath(*resolved);
    auto source = part && !part->isOpen() ? FileDescriptor() : beneath(*around);
    if (!source) return std::unexpected(std::move(source.error()));
    if (!part) return std::unexpected(std::move(part.error()));
    if (part->isOpen()) {
      return VolumeSource{
          .folder = *resolved, .descriptor = std::move(*part), .volume = std::move(*source), .isServed = true};
    }
  }
  auto source = SystemCall::openAt(AT_FDCWD, resolved->c_str(), folderFlags);
  if (!source) return std::unexpected(VolumeErrors::NotAFolder{*resolved, source.error()});
  const std::string privateFolder(VolumeProtocol::privateFolder);
  const bool isWhole = SystemCall::openAt(source->get(), privateFolder.c_str(), O_PATH | O_NOFOLLOW).has_value();
  const bool isServed = std::ranges::any_of(
      *volumes, [&](const MountedVolume& volume) { return FolderPath::contains(volume.source, *resolved); });
  return VolumeSource{.folder = *resolved,
                      .descriptor = std::move(*source),
                      .volume = isWhole ? FileDescriptor() : sourceAround(*resolved),
                      .isServed = isServed};
}

}  // namespace quillbrook
