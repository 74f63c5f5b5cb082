// SPDX-License-Identifier: MIT
#include "Platform/Linux/ReplacingRename.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>

#include "Platform/Linux/InodeNumber.h"
#include "Platform/Linux/NativeLock.h"
#include "Platform/Linux/RedoCopy.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Linux/WorkInProgress.h"

namespace quillbrook::ReplacingRename {
namespace {

Result<struct stat> entryStatus(const VolumePath& place) {
  struct stat found{};
  if (::fstatat(place.folder(), place.name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == -1) {
    return SystemCall::failure();
  }
  return found;
}

Result<InodeNumber> entryInode(const VolumePath& place) {
  const auto found = entryStatus(place);
  if (!found) return std::unexpected(found.error());
  return InodeNumber::of(*found);
}

Result<void> renameWith(const VolumePath& from, const VolumePath& to, unsigned flags) {
  return SystemCall::checked(
      [&] { return ::renameat2(from.folder(), from.name.c_str(), to.folder(), to.name.c_str(), flags); });
}

Result<void> refuseSurplus(const VolumePath& target, const std::optional<ContainerState>& state) {
  if (!state || !state->isSealed() || state->redoIdentifier != 0) return {};
  const auto status = entryStatus(target);
  if (!status) return std::unexpected(status.error());
  if (static_cast<std::uint64_t>(status->st_size) <= state->rawByteCount()) return {};
  // Unless it has come to be another file, or to stand in another form, between the two looks.
  const auto again = StoredState::readAt(target.folder(), target.name.c_str());
  return std::unexpected(again && *again == state ? ErrorNumber::inputOutput : ErrorNumber::stale);
}

// The daemon's request speaks of two names in one folder.
bool areInOneFolder(const VolumePath& a, const VolumePath& b) {
  if (a.openFolder == b.openFolder) return true;
  const auto first = SystemCall::status(a.folder());
  const auto second = SystemCall::status(b.folder());
  return first && second && first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

Result<void> askDaemon(const VolumePath& work, const VolumePath& target, const FileStatus& expected,
                       const struct timespec& changeTime, InodeNumber made) {
  if (!work.isMapped() || !areInOneFolder(work, target)) return std::unexpected(ErrorNumber::notSupported);
  VolumeProtocol::ReplaceRequest request{};
  if (work.name.size() >= sizeof request.work || target.name.size() >= sizeof request.target) {
    return std::unexpected(ErrorNumber{ENAMETOOLONG});
  }
  request.device = expected.st_dev;
  request.inode = expected.st_ino;
  request.workInode = made.inode;
  request.logicalSize = expected.st_size;
  request.modificationSeconds = expected.st_mtimespec.seconds;
  request.modificationNanoseconds = expected.st_mtimespec.nanoseconds;
  request.changeSeconds = changeTime.tv_sec;
  request.changeNanoseconds = static_cast<std::uint32_t>(changeTime.tv_nsec);
  std::ranges::copy(work.name, request.work.begin());
  std::ranges::copy(target.name, request.target.begin());
  const auto place = target.openMountFolder();
  if (!place) return std::unexpected(place.error());
  const auto folder = SystemCall::openAt(place->get(), ".", O_RDONLY | O_DIRECTORY);
  if (!folder) return std::unexpected(folder.error());
  return SystemCall::checked([&] { return ::ioctl(folder->get(), VolumeProtocol::replaceCommand, &request); });
}

// Undoes an exchange that put `placed` at the target. What comes out there is `placed` again, unless another program
// has replaced the target in that short time: then its newer file has come out, and goes back in its turn.
// `notRecoverable` if the work name is left with a file that is not ours.
Result<void> exchangeBack(const VolumePath& work, const VolumePath& target, InodeNumber placed) {
  for (;;) {
    const auto held = entryInode(work);
    if (!held || !renameWith(work, target, RENAME_EXCHANGE)) return std::unexpected(ErrorNumber::notRecoverable);
    const auto cameOut = entryInode(work);
    if (!cameOut) return std::unexpected(ErrorNumber::notRecoverable);
    if (*cameOut == placed) return {};
    placed = *held;
  }
}

Result<void> replaceWithoutExchange(const VolumePath& work, const VolumePath& target, InodeNumber locked,
                                    const LockableFile& lock) {
  const auto now = entryInode(target);
  if (!now) return std::unexpected(now.error());
  if (*now != locked || !lock.isHeld()) return std::unexpected(ErrorNumber::busy);
  return renameWith(work, target, 0);
}

Result<void> exchange(const VolumePath& work, const VolumePath& target, InodeNumber locked, const LockableFile& lock,
                      InodeNumber made) {
  if (!lock.isHeld()) return std::unexpected(ErrorNumber::busy);
  const auto exchanged = renameWith(work, target, RENAME_EXCHANGE);
  if (!exchanged && (exchanged.error() == ErrorNumber::invalid || exchanged.error().value == ENOSYS)) {
    return replaceWithoutExchange(work, target, locked, lock);
  }
  if (!exchanged) return exchanged;
  const auto placed = entryInode(target);
  const auto cameOut = entryInode(work);
  if (!placed || *placed != made || !cameOut || *cameOut != locked || !lock.isHeld()) {
    const auto undone = exchangeBack(work, target, placed.value_or(made));
    return std::unexpected(undone ? ErrorNumber::busy : undone.error());
  }
  const auto removed = SystemCall::checked([&] { return ::unlinkat(work.folder(), work.name.c_str(), 0); });
  if (removed) return {};
  const auto undone = exchangeBack(work, target, made);
  return std::unexpected(undone ? removed.error() : undone.error());
}

}  // namespace

Result<InodeNumber> replace(const VolumePath& work, const VolumePath& target, const FileStatus& expected,
                            const LockableFile& lock, std::optional<InodeNumber> made) {
  const auto inode = SystemCall::openAt(work.folder(), work.name.c_str(), O_PATH | O_NOFOLLOW);
  if (!inode) return std::unexpected(inode.error());
  const auto status = SystemCall::status(inode->get());
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode)) return std::unexpected(ErrorNumber::invalid);
  const auto placed = InodeNumber::of(*status);
  if (made && *made != placed) return std::unexpected(ErrorNumber::busy);
  // The expected file may have been replaced before it was locked, and its number gone to a newer one since.
  const auto* native = dynamic_cast<const NativeLock*>(&lock);
  if (native != nullptr && !native->isOn(expected.st_dev, expected.st_ino)) return std::unexpected(ErrorNumber::busy);
  const auto state = StoredState::readAt(target.folder(), target.name.c_str());
  if (!state) return std::unexpected(state.error());
  if (const auto whole = refuseSurplus(target, *state); !whole) return std::unexpected(whole.error());
  if (const auto onDisk = WorkInProgress::waitForData(inode->get()); !onDisk) return std::unexpected(onDisk.error());

  const InodeNumber locked{.device = expected.st_dev, .inode = expected.st_ino};
  const auto now = entryStatus(target);
  if (!now) return std::unexpected(now.error());
  const struct timespec known = native != nullptr ? native->changeTime() : now->st_ctim;
  const bool hasChanged = now->st_ctim.tv_sec != known.tv_sec || now->st_ctim.tv_nsec != known.tv_nsec;
  if (hasChanged && InodeNumber::of(*now) == locked) return std::unexpected(ErrorNumber::stale);

  if (!target.isMapped()) WorkInProgress::unmark(inode->get());
  const auto replaced = target.isMapped() ? askDaemon(work, target, expected, known, placed)
                                          : exchange(work, target, locked, lock, placed);
  if (!replaced) return std::unexpected(replaced.error());
  WorkInProgress::end(placed);
  // A redo copy that was the content of the file that is gone has nobody left to belong to.
  if (*state && (*state)->redoIdentifier != 0) {
    RedoCopy::remove(target.folder(), **state, {.inode = expected.st_ino, .owner = expected.st_uid});
  }
  return placed;
}

}  // namespace quillbrook::ReplacingRename
