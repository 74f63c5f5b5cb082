// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountDetach.h"

#include <chrono>
#include <thread>
#include <utility>
#include <variant>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FuseUnmount.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/FuseAvailability.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

std::expected<void, VolumeError> takeAway(const FilePath& mountPoint, FuseUnmount::Manner manner) {
  struct Translation {
    const FilePath& mountPoint;

    VolumeError operator()(const FuseUnmount::CallFailed& error) const {
      if (error.reason == ErrorNumber::busy) return VolumeErrors::InUse{mountPoint, {}};
      return systemFailure("unmount", mountPoint, error.reason).error();
    }
    VolumeError operator()(const FuseUnmount::HelperMissing& error) const {
      return FuseAvailability::withoutHelper(error.reason);
    }
    VolumeError operator()(const FuseUnmount::HelperFailed& error) const {
      return VolumeErrors::HelperFailed{"fusermount3 -u", error.exitCode, error.words};
    }
  };
  const auto done = FuseUnmount::unmount(mountPoint, manner);
  if (!done) return std::unexpected(std::visit(Translation{mountPoint}, done.error()));
  return {};
}

}  // namespace

std::expected<void, VolumeError> MountDetach::detach(const FilePath& mountPoint) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  for (;;) {
    auto detached = takeAway(mountPoint, FuseUnmount::Manner::ifUnused);
    if (detached) return detached;
    // Words of the helper are in the user's language: whether it was in use is asked of the processes. If that cannot
    // be told, the first failure is what there is to say.
    auto users = FolderUsers::find(mountPoint);
    if (users && !users->empty()) return std::unexpected(VolumeErrors::InUse{mountPoint, std::move(*users)});
    // A call that names a file keeps the mount for as long as it takes, and no process shows it.
    if (!users || std::chrono::steady_clock::now() >= deadline) return detached;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::expected<bool, VolumeError> MountDetach::clearStale(const FilePath& folder) {
  bool cleared = false;
  for (;;) {
    const auto volumes = MountedVolumes::read();
    if (!volumes) return MountedVolumes::failure(volumes.error());
    if (MountedVolumes::at(*volumes, folder) == nullptr) return cleared;
    const auto address = DaemonAddress::ask(folder);
    if (address || !DaemonAddress::hasDied(address.error())) return cleared;
    if (auto detached = takeAway(folder, FuseUnmount::Manner::lazily); !detached)
      return std::unexpected(detached.error());
    cleared = true;
  }
}

}  // namespace quillbrook
