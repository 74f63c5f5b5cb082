// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnmount.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <unordered_set>
#include <utility>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/ChildProgram.h"
#include "Volume/Administration/DaemonAddress.h"
#include "Volume/Administration/FolderPath.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/FolderWalk.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountRecords.h"
#include "Volume/Administration/VolumeSource.h"

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

// The process that serves the mount; not open if that cannot be told.
FileDescriptor daemonOf(const FilePath& mountPoint) {
  const auto address = DaemonAddress::ask(mountPoint);
  if (!address) return {};
  FileDescriptor process = openProcess(address->process);
  // Had the number gone to another process in between, the volume would not answer with it any more.
  if (DaemonAddress::ask(mountPoint) != address) return {};
  return process;
}

std::expected<void, VolumeError> awaitEnd(const FileDescriptor& process, std::stop_token stop) {
  if (!process.isOpen()) return {};
  const StopDescriptor stopping(std::move(stop));
  for (;;) {
    std::array<pollfd, 2> waited{{{.fd = process.get(), .events = POLLIN, .revents = 0},
                                  {.fd = stopping.get(), .events = POLLIN, .revents = 0}}};
    if (::poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) return {};
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

  const auto table = MountRecords::read();
  if (!table) {
    return systemFailure("read", FilePath("/proc/self/mountinfo"), table.error());
  }
  const MountRecord* mount = MountRecords::at(*table, outcome.folder);
  if (mount == nullptr || !MountRecords::isVolume(*mount))
    return std::unexpected(VolumeErrors::NotMounted{outcome.folder});
  const std::uint32_t owner = mount->userIdentifier.value_or(0);
  if (::geteuid() != 0 && owner != ::getuid())
    return std::unexpected(VolumeErrors::ForeignMount{outcome.folder, owner});

  const auto cleared = MountDetach::clearStale(outcome.folder);
  if (!cleared) return std::unexpected(cleared.error());
  if (*cleared) {
    outcome.wasStale = true;
    count(outcome, stop);
    onCounted(outcome);
    return outcome;
  }

  if (auto users = FolderUsers::find(outcome.folder); users && !users->empty()) {
    return std::unexpected(VolumeErrors::InUse{outcome.folder, std::move(*users)});
  }
  count(outcome, stop);
  if (stop.stop_requested()) return std::unexpected(VolumeErrors::Stopped{});
  onCounted(outcome);
  const FileDescriptor daemon = daemonOf(outcome.folder);
  if (const auto detached = MountDetach::detach(outcome.folder); !detached) return std::unexpected(detached.error());
  if (const auto ended = awaitEnd(daemon, stop); !ended) return std::unexpected(ended.error());
  return outcome;
}

}  // namespace quillbrook
