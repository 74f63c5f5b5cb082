// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumePath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeRegistry.h"

namespace quillbrook {
namespace {

Result<FileDescriptor> openBeneath(int folder, const std::string& path) {
  struct open_how how{};
  how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_XDEV;
  const auto descriptor =
      SystemCall::retrying([&] { return ::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how); });
  if (descriptor == -1) return SystemCall::failure();
  return FileDescriptor(static_cast<int>(descriptor));
}

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
  auto backing = openBeneath(volume.source.get(), *beneath);
  if (!backing) return std::nullopt;
  const auto status = SystemCall::status(backing->get());
  if (!status || status->st_ino != inode) return std::nullopt;
  return std::move(*backing);
}

}  // namespace

std::string VolumePath::procPath() const {
  return SystemCall::pathOf(folder.get()) + "/" + name;
}

Result<VolumePath> VolumePath::locate(const FilePath& path) {
  if (path.empty()) return std::unexpected(ErrorNumber::noEntry);
  auto parent = SystemCall::openAt(AT_FDCWD, path.parent().c_str(), O_PATH | O_DIRECTORY);
  if (!parent) return std::unexpected(parent.error());
  VolumePath located;
  located.name = path.name();
  const auto place = VolumeRegistry::place(parent->get());
  const auto volume = place ? VolumeRegistry::find(parent->get(), place->mountIdentifier) : nullptr;
  if (volume && located.name != "." && located.name != "..") {
    if (auto backing = backingFolder(*volume, parent->get(), place->inode, located.name)) {
      located.folder = std::move(*backing);
      located.mountFolder = std::move(*parent);
      located.acceptsCompression = volume->isInPlace;
      return located;
    }
  }
  if (!volume && VolumeRegistry::hasRegisteredFolders()) {
    const auto current = FolderPath::of(parent->get());
    located.acceptsCompression = current && VolumeRegistry::isInRegisteredFolder(current->bytes());
  }
  located.folder = std::move(*parent);
  return located;
}

Result<LocatedInode> openInode(const VolumePath& place, const FilePath& path, FinalLink finalLink) {
  LocatedInode inode{.descriptor = {}, .acceptsCompression = place.acceptsCompression};
  const bool mayFollow = finalLink == FinalLink::follow && !place.isMapped();
  auto opened = SystemCall::openAt(place.folder.get(), place.name.c_str(), O_PATH | (mayFollow ? 0 : O_NOFOLLOW));
  if (!opened) return std::unexpected(opened.error());
  if (finalLink == FinalLink::follow && place.isMapped()) {
    const auto status = SystemCall::status(opened->get());
    if (!status) return std::unexpected(status.error());
    if (S_ISLNK(status->st_mode)) {
      inode.acceptsCompression = false;
      opened = SystemCall::openAt(AT_FDCWD, path.c_str(), O_PATH);
      if (!opened) return std::unexpected(opened.error());
    }
  }
  inode.descriptor = std::move(*opened);
  return inode;
}

Result<LocatedInode> openInode(const FilePath& path, FinalLink finalLink) {
  const auto place = VolumePath::locate(path);
  if (!place) return std::unexpected(place.error());
  return openInode(*place, path, finalLink);
}

}  // namespace quillbrook
