// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnmount.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <unordered_set>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/ProcessDescriptor.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/StopDescriptor.h"
#include "Volume/Administration/VolumeSource.h"
#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {
namespace {

// Fills in the count. A source that cannot be reached leaves it empty.
void count(UnmountOutcome& outcome, const std::stop_token& stop) {
  const auto source = VolumeSource::open(outcome.folder);
  if (!source) return;
  std::uint64_t files = 0;
  std::unordered_set<ino_t> linked;
  const FolderWalk::Visitor visitor{
      .onFile =
          [&](const WalkedFile& file) {
            const std::string path = SystemCall::pathOf(file.folder) + '/' + file.name;
            const auto state = StoredState::readAt(path.c_str());
            // A damaged state hides a compressed file as well.
            if (state && !(*state && ((*state)->isSealed() || (*state)->redoIdentifier != 0))) return;
            if (!state && state.error() != ErrorNumber::inputOutput) return;
            if (file.status.st_nlink > 1 && !linked.insert(file.status.st_ino).second) return;
            ++files;
          },
      .onUnreadable = [&](const FilePath&, ErrorNumber) { ++outcome.unreadFolders; }};
  if (FolderWalk::walk(source->descriptor.get(), outcome.folder, visitor, stop)) outcome.compressedFiles = files;
}

// The process that serves the mount; not open if it has ended already, or if the volume does not tell the caller.
std::expected<FileDescriptor, VolumeError> daemonOf(const FilePath& mountPoint) {
  const auto address = DaemonAddress::ask(mountPoint);
  if (!address) return FileDescriptor();
  auto process = ProcessDescriptor::open(address->process);
  if (!process && process.error() == ErrorNumber{ESRCH}) return FileDescriptor();
  if (!process) return systemFailure("wait for the daemon of", mountPoint, process.error());
  // Had the number gone to another process in between, the volume would not answer with it any more.
  if (DaemonAddress::ask(mountPoint) != address) return FileDescriptor();
  return std::move(*process);
}

std::expected<void, VolumeError> awaitEnd(const FileDescriptor& process, const FilePath& folder,
                                          const StopDescriptor& stopping) {
  if (!process.isOpen()) return {};
  for (;;) {
    std::array<pollfd, 2> waited{{{.fd = process.get(), .events = POLLIN, .revents = 0},
                                  {.fd = stopping.get(), .events = POLLIN, .revents = 0}}};
    if (::poll(waited.data(), waited.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return systemFailure("wait for the daemon of", folder, ErrorNumber{errno});
    }
    if (waited[0].revents != 0) return {};
    if (waited[1].revents != 0) return std::unexpected(VolumeErrors::Stopped{});
  }
}

}  // namespace

std::expected<UnmountOutcome, VolumeError> VolumeUnmount::unmount(
    const FilePath& folder, std::stop_token stop, const std::function<void(const UnmountOutcome&)>& onCounted) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  UnmountOutcome outcome{.folder = *resolved, .compressedFiles = std::nullopt};

  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  const MountedVolume* mount = MountedVolumes::at(*volumes, outcome.folder);
  if (mount == nullptr) return std::unexpected(VolumeErrors::NotMounted{outcome.folder});
  if (::geteuid() != 0 && mount->owner != ::getuid()) {
    return std::unexpected(VolumeErrors::ForeignMount{outcome.folder, mount->owner});
  }

  const auto cleared = MountDetach::clearStale(outcome.folder);
  if (!cleared) return std::unexpected(cleared.error());
  if (*cleared) {
    count(outcome, stop);
    onCounted(outcome);
    return outcome;
  }

  auto users = FolderUsers::find(outcome.folder);
  if (!users) return systemFailure("look for users of", outcome.folder, users.error());
  if (!users->empty()) return std::unexpected(VolumeErrors::InUse{outcome.folder, std::move(*users)});
  count(outcome, stop);
  if (stop.stop_requested()) return std::unexpected(VolumeErrors::Stopped{});
  onCounted(outcome);
  auto daemon = daemonOf(outcome.folder);
  if (!daemon) return std::unexpected(std::move(daemon.error()));
  const auto stopping = StopDescriptor::open(stop);
  if (!stopping) return systemFailure("wait for the daemon of", outcome.folder, stopping.error());
  if (auto detached = MountDetach::detach(outcome.folder); !detached) {
    return std::unexpected(std::move(detached.error()));
  }
  if (auto ended = awaitEnd(*daemon, outcome.folder, **stopping); !ended)
    return std::unexpected(std::move(ended.error()));
  return outcome;
}

}  // namespace quillbrook
