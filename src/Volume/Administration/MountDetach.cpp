// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountDetach.h"

#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "Volume/Administration/ChildProgram.h"
#include "Volume/Administration/DaemonAddress.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/FuseAvailability.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

enum class Manner { ifUnused, lazily };

std::expected<void, VolumeError> byHelper(const FilePath& mountPoint, Manner manner) {
  std::vector<std::string> arguments{FuseAvailability::helper, "-u"};
  if (manner == Manner::lazily) arguments.emplace_back("-z");
  arguments.emplace_back("--");
  arguments.push_back(mountPoint.bytes());
  auto child = ChildProgram::start(arguments, ChildProgram::Session::own);
  if (!child) return std::unexpected(FuseAvailability::withoutHelper(child.error()));
  const int exitCode = child->wait();
  if (exitCode == 0) return {};
  return std::unexpected(VolumeErrors::HelperFailed{"fusermount3 -u", exitCode, child->words()});
}

std::expected<void, VolumeError> detachIn(const FilePath& mountPoint, Manner manner) {
  if (::geteuid() != 0) return byHelper(mountPoint, manner);
  const int flags = UMOUNT_NOFOLLOW | (manner == Manner::lazily ? MNT_DETACH : 0);
  if (::umount2(mountPoint.c_str(), flags) == 0) return {};
  if (errno == EBUSY) return std::unexpected(VolumeErrors::InUse{mountPoint, {}});
  return systemFailure("unmount", mountPoint, ErrorNumber{errno});
}

}  // namespace

std::expected<void, VolumeError> MountDetach::detach(const FilePath& mountPoint) {
  auto detached = detachIn(mountPoint, Manner::ifUnused);
  if (detached) return detached;
  // Words of the helper are in the user's language: whether it was in use is asked of the processes.
  auto users = FolderUsers::find(mountPoint);
  if (users && !users->empty()) return std::unexpected(VolumeErrors::InUse{mountPoint, std::move(*users)});
  return detached;
}

std::expected<bool, VolumeError> MountDetach::clearStale(const FilePath& folder) {
  bool cleared = false;
  for (;;) {
    const auto volumes = MountedVolumes::read();
    if (!volumes) return MountedVolumes::failure(volumes.error());
    if (MountedVolumes::at(*volumes, folder) == nullptr) return cleared;
    const auto address = DaemonAddress::ask(folder);
    if (address || !DaemonAddress::hasDied(address.error())) return cleared;
    if (const auto detached = detachIn(folder, Manner::lazily); !detached) return std::unexpected(detached.error());
    cleared = true;
  }
}

}  // namespace quillbrook
