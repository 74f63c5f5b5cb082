// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumePath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderBinding.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeRegistry.h"

namespace quillbrook {
namespace {

// The backing folder of `folder`, which lies on a volume's mount; nothing where it cannot be reached safely or where
// something else is mounted over the entry itself.
std::optional<FileDescriptor> backingFolder(const ReachableVolume& volume, int folder, std::uint64_t inode,
                                            const std::string& name) {
  const auto path = FolderPath::of(folder);
  if (!path) return std::nullopt;
  if (std::ranges::find(volume.mountsOnTop, path->appending(name).bytes()) != volume.mountsOnTop.end()) {
    return std::nullopt;
  }
  const auto beneath = FolderPath::beneath(volume.mountPoint, path->bytes());
  if (!beneath) return std::nullopt;
  auto backing = SystemCall::openBeneath(volume.source.get(), beneath->c_str(), O_PATH | O_DIRECTORY);
  if (!backing) return std::nullopt;
  const auto status = SystemCall::status(backing->get());
  if (!status || status->st_ino != inode) return std::nullopt;
  return std::move(*backing);
}

// Some twenty calls are made for one file, in one folder: after the first, two cheap questions tell that the folder is
// still the one that was mapped.
bool mapToKnownFolder(VolumePath& located) {
  const auto place = MountPlace::of(located.parent);
  if (!place) return false;
  const auto volume = VolumeRegistry::findKnown(place->mountIdentifier);
  if (!volume || !volume->folders) return false;
  auto folder = volume->folders->find(place->inode);
  if (!folder) return false;
  located.openFolder = std::move(folder);
  located.placeOnMount = place;
  located.acceptsCompression = volume->isInPlace;
  located.isReadOnly = volume->isReadOnly;
  return true;
}

}  // namespace

Result<FileDescriptor> VolumePath::openMountFolder() const {
  auto opened = SystemCall::openAt(AT_FDCWD, parent.c_str(), O_PATH | O_DIRECTORY);
  if (!opened) return opened;
  if (MountPlace::of(opened->get()) != placeOnMount) return std::unexpected(ErrorNumber::busy);
  return opened;
}

Result<VolumePath> VolumePath::locate(const FilePath& path) {
  if (path.empty()) return std::unexpected(ErrorNumber::noEntry);
  // Written with a "/" at its end, the host takes a path for a folder: follows a link to it, and refuses anything else.
  const bool namesFolder = path.bytes().back() == '/';
  VolumePath located{.openFolder = {},
                     .parent = namesFolder ? path : path.parent(),
                     .placeOnMount = {},
                     .name = namesFolder ? "." : std::string(path.name())};
  const bool mayBeMapped = located.name != "." && located.name != "..";
  if (auto bound = FolderBinding::find(located.parent, located.name); mayBeMapped && bound) return std::move(*bound);
  if (mayBeMapped && mapToKnownFolder(located)) return located;

  auto parent = SystemCall::openAt(AT_FDCWD, located.parent.c_str(), O_PATH | O_DIRECTORY);
  if (!parent) return std::unexpected(parent.error());
  const auto place = MountPlace::of(parent->get());
  const auto volume = place ? VolumeRegistry::find(parent->get(), place->mountIdentifier) : nullptr;
  if (volume && !volume->source.isOpen()) {
    const auto address = DaemonAddress::ask(FilePath(volume->mountPoint));
    const bool hasDied = !address && DaemonAddress::hasDied(address.error());
    return std::unexpected(hasDied ? address.error() : ErrorNumber::accessDenied);
  }
  if (volume) located.isReadOnly = volume->isReadOnly;
  if (volume && mayBeMapped) {
    if (auto backing = backingFolder(*volume, parent->get(), place->inode, located.name)) {
      located.openFolder = std::make_shared<const FileDescriptor>(std::move(*backing));
      located.placeOnMount = place;
      located.acceptsCompression = volume->isInPlace;
      if (volume->folders) volume->folders->insert(place->inode, located.openFolder);
      return located;
    }
  }
  located.openFolder = std::make_shared<const FileDescriptor>(std::move(*parent));
  return located;
}

}  // namespace quillbrook
