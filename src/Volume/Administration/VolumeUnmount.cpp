// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnmount.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ranges>
#include <unordered_set>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/ProcessDescriptor.h"
#include "Platform/Linux/StoredState.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/StopDescriptor.h"
#include "Volume/Administration/VolumeSource.h"
#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {
namespace {

// A damaged state hides a compressed file as well.
Result<bool> isCompressed(const WalkedFile& file) {
  const auto state = StoredState::readAt(file.folder, file.name);
  if (!state && state.error() == ErrorNumber::inputOutput) return true;
  if (!state && state.error() == ErrorNumber::noEntry) return false;  // it is gone by now
  if (!state) return std::unexpected(state.error());
  return *state && ((*state)->isSealed() || (*state)->redoIdentifier != 0);
}

// Fills in the count. A source that cannot be reached leaves it empty.
void count(UnmountOutcome& outcome, const std::stop_token& stop) {
  const auto source = VolumeSource::open(outcome.folder);
  if (!source) return;
  std::uint64_t files = 0;
  std::unordered_set<ino_t> linked;
  const FolderWalk::Visitor visitor{.onFile =
                                        [&](const WalkedFile& file) {
                                          const auto compressed = isCompressed(file);
                                          if (!compressed) ++outcome.unread;
                                          if (!compressed.value_or(false)) return;
                                          if (file.status.st_nlink == 1 || linked.insert(file.status.st_ino).second)
                                            ++files;
                                        },
                                    .onUnreadable = [&](const FilePath&, ErrorNumber) { ++outcome.unread; }};
  if (FolderWalk::walk(source->descriptor.get(), outcome.folder, visitor, stop)) outcome.compressedFiles = files;
}

// What is mounted on the topmost volume at `mountPoint`, if anything.
std::expected<void, VolumeError> checkNothingInside(const FilePath& mountPoint) {
  const auto table = MountTable::read();
  if (!table) return MountedVolumes::failure(table.error());
  const auto volume = std::ranges::find(*table | std::views::reverse, mountPoint.bytes(), &MountEntry::mountPoint);
  if (volume == std::ranges::rend(*table)) return {};
  const auto inner = std::ranges::find(*table, volume->identifier, &MountEntry::parentIdentifier);
  if (inner == table->end()) return {};
  return std::unexpected(VolumeErrors::MountInside{mountPoint, FilePath(inner->mountPoint)});
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

// Whether the daemon ended while this waited. It outlives the mount as long as there is another one of it: a bind
// mount, or one in another namespace.
bool hasEnded(const FileDescriptor& process, const StopDescriptor& stopping) {
  if (!process.isOpen()) return true;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    std::array<pollfd, 2> waited{{{.fd = process.get(), .events = POLLIN, .revents = 0},
                                  {.fd = stopping.get(), .events = POLLIN, .revents = 0}}};
    const int got = ::poll(waited.data(), waited.size(), static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    if (got < 0 && errno == EINTR) continue;
    return got > 0 && waited[0].revents != 0;
  }
}

}  // namespace

std::expected<UnmountOutcome, VolumeError> VolumeUnmount::unmount(
    const FilePath& folder, const std::stop_token& stop, const std::function<void(const UnmountOutcome&)>& onCounted) {
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
  if (auto free = checkNothingInside(outcome.folder); !free) return std::unexpected(std::move(free.error()));
  count(outcome, stop);
  if (stop.stop_requested()) return std::unexpected(VolumeErrors::Stopped{});
  auto daemon = daemonOf(outcome.folder);
  if (!daemon) return std::unexpected(std::move(daemon.error()));
  const auto stopping = StopDescriptor::open(stop);
  if (!stopping) return systemFailure("wait for the daemon of", outcome.folder, stopping.error());
  if (auto detached = MountDetach::detach(outcome.folder); !detached) {
    return std::unexpected(std::move(detached.error()));
  }
  onCounted(outcome);
  outcome.isServedElsewhere = !hasEnded(*daemon, **stopping);
  return outcome;
}

}  // namespace quillbrook
