// SPDX-License-Identifier: MIT
#include "Platform/Linux/TreeEnumerator.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountPlace.h"
#include "Platform/Linux/ShownStatus.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Linux/VolumeRegistry.h"

namespace quillbrook {
namespace {

constexpr int openFlags = O_RDONLY | O_DIRECTORY;

// Levels further up than this give their descriptor back.
constexpr std::size_t openLevelCount = 64;

std::shared_ptr<const ReachableVolume> volumeOf(int folder) {
  const auto place = MountPlace::of(folder);
  return place ? VolumeRegistry::find(folder, place->mountIdentifier) : nullptr;
}

// The backing folder of `mounted`. Not open where it cannot be reached.
FileDescriptor openBacking(const ReachableVolume& volume, const FilePath& mounted, ino_t inode) {
  const auto beneath = FolderPath::beneath(volume.mountPoint, mounted.bytes());
  if (!beneath || !volume.source.isOpen()) return {};
  auto backing = SystemCall::openBeneath(volume.source.get(), beneath->c_str(), openFlags);
  const auto status = backing ? SystemCall::status(backing->get()) : std::unexpected(backing.error());
  return status && status->st_ino == inode ? std::move(*backing) : FileDescriptor();
}

}  // namespace

Result<std::unique_ptr<DirectoryEnumerator>> DirectoryEnumerator::open(const FilePath& root, Depth depth) {
  return TreeEnumerator::open(root, depth);
}

Result<std::unique_ptr<TreeEnumerator>> TreeEnumerator::open(const FilePath& root, Depth depth) {
  auto folder = SystemCall::openAt(AT_FDCWD, root.c_str(), openFlags);
  if (!folder) return std::unexpected(folder.error());
  const auto status = SystemCall::status(folder->get());
  if (!status) return std::unexpected(status.error());
  std::unique_ptr<TreeEnumerator> walk(new TreeEnumerator(root, depth, true));
  walk->enter(levelOn(std::move(*folder), *status));
  return walk;
}

Result<std::unique_ptr<TreeEnumerator>> TreeEnumerator::openBeneath(int root, const FilePath& path) {
  auto folder = SystemCall::openAt(root, ".", openFlags);
  if (!folder) return std::unexpected(folder.error());
  const auto status = SystemCall::status(folder->get());
  if (!status) return std::unexpected(status.error());
  std::unique_ptr<TreeEnumerator> walk(new TreeEnumerator(path, Depth::recursive, false));
  walk->enter(Level(std::move(*folder), *status));
  return walk;
}

TreeEnumerator::TreeEnumerator(const FilePath& root, Depth depth, bool entersVolumes)
    : depth_(depth), entersVolumes_(entersVolumes), path_(root.bytes()) {
  if (!path_.ends_with('/')) path_ += '/';
}

std::optional<DirectoryEnumerator::Entry> TreeEnumerator::next() {
  if (std::exchange(isFolder_, false) && !isSkipping_ && depth_ == Depth::recursive) descend();
  isSkipping_ = false;
  while (!levels_.empty()) {
    Level& level = levels_.back();
    const auto entry = level.names.next();
    if (!entry) {
      ascend();
      continue;
    }
    if (isPrivate(level, entry->name)) continue;
    const auto kind = kindOf(level, *entry);
    if (!kind) continue;
    current_ = *entry;
    isFolder_ = kind == FileKind::directory;
    path_.resize(level.prefixLength);
    path_ += entry->name;
    return Entry{.path = FilePath(path_), .kind = *kind, .level = levels_.size()};
  }
  return std::nullopt;
}

Result<FileStatus> TreeEnumerator::status() {
  if (levels_.back().isOpaque) return std::unexpected(ErrorNumber::accessDenied);
  return ShownStatus::at(folder(), current_.name);
}

Result<struct stat> TreeEnumerator::hostStatus() const {
  struct stat status{};
  if (::fstatat(folder(), current_.name, &status, AT_SYMLINK_NOFOLLOW) != 0) return SystemCall::failure();
  return status;
}

std::optional<DirectoryEnumerator::Omission> TreeEnumerator::takeOmission() {
  if (omissions_.empty()) return std::nullopt;
  Omission first = std::move(omissions_.front());
  omissions_.pop_front();
  return first;
}

TreeEnumerator::Level TreeEnumerator::levelOn(FileDescriptor folder, const struct stat& status) {
  Level level(std::move(folder), status);
  level.volume = volumeOf(level.folder.get());
  if (!level.volume) return level;
  const auto mounted = FolderPath::of(level.folder.get());
  FileDescriptor backing = mounted ? openBacking(*level.volume, *mounted, status.st_ino) : FileDescriptor();
  const auto backingStatus = SystemCall::status(backing.get());
  level.isOpaque = !backingStatus;
  if (level.isOpaque) return level;
  level.folder = std::move(backing);
  level.device = backingStatus->st_dev;
  if (!level.volume->mountsOnTop.empty()) level.mounted = *mounted;
  return level;
}

void TreeEnumerator::descend() {
  const Level& parent = levels_.back();
  auto folder = SystemCall::openAt(parent.folder.get(), current_.name, openFlags | O_NOFOLLOW);
  const auto status = folder ? SystemCall::status(folder->get()) : std::unexpected(folder.error());
  if (!status) {
    omit(FilePath(path_), status.error());
    return;
  }
  Level level(std::move(*folder), *status);
  level.isOpaque = parent.isOpaque;
  level.volume = parent.volume;
  if (!parent.mounted.empty()) level.mounted = parent.mounted.appending(current_.name);
  const bool leavesVolume = isMountedOver(parent, current_.name);
  if (leavesVolume || level.device != parent.device) {
    if (entersVolumes_ && !leavesVolume) level = levelOn(std::move(level.folder), *status);
    if (leavesVolume || !level.volume || level.volume == parent.volume) {
      omit(FilePath(path_), std::nullopt);
      return;
    }
  }
  path_ += '/';
  enter(std::move(level));
}

// Whether another mount stands on the folder, which beneath the volume's own is not to be seen.
bool TreeEnumerator::isMountedOver(const Level& level, const char* name) {
  if (level.mounted.empty()) return false;
  const auto& mounts = level.volume->mountsOnTop;
  return std::ranges::find(mounts, level.mounted.appending(name).bytes()) != mounts.end();
}

void TreeEnumerator::enter(Level level) {
  std::optional<ErrorNumber> failure;
  level.names = EntryNames::read(level.folder.get(), buffer_, failure);
  level.prefixLength = path_.size();
  if (failure) omit(pathOf(level), failure);
  if (levels_.size() >= openLevelCount) levels_[levels_.size() - openLevelCount].folder.reset();
  levels_.push_back(std::move(level));
}

void TreeEnumerator::ascend() {
  const FileDescriptor below = std::move(levels_.back().folder);
  levels_.pop_back();
  if (levels_.empty() || levels_.back().folder.isOpen()) return;
  Level& level = levels_.back();
  auto folder = SystemCall::openAt(below.get(), "..", openFlags);
  const auto status = folder ? SystemCall::status(folder->get()) : std::unexpected(folder.error());
  if (status && status->st_dev == level.device && status->st_ino == level.inode) {
    level.folder = std::move(*folder);
    return;
  }
  // Somebody moved the folder below away, or it cannot be left: what is left further up cannot be reached from here.
  for (; !levels_.empty(); levels_.pop_back()) {
    if (levels_.back().names.next()) omit(pathOf(levels_.back()), ErrorNumber::stale);
  }
}

// A mount hides the private folder itself; in a volume's bare source it is known by the lock in it, or by an owner who
// keeps it closed.
bool TreeEnumerator::isPrivate(const Level& level, const char* name) const {
  if (!VolumeProtocol::isPrivate(true, name)) return false;
  if (!entersVolumes_ && levels_.size() == 1) return true;
  const std::string lock = std::string(name) + '/' + std::string(VolumeProtocol::lockFile);
  return ::faccessat(level.folder.get(), lock.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0 || errno == EACCES;
}

// Not every file system fills the type in. Nothing for an entry that is gone by now.
std::optional<FileKind> TreeEnumerator::kindOf(const Level& level, const EntryNames::Entry& entry) {
  if (entry.type != DT_UNKNOWN) return ShownStatus::kindOf(static_cast<std::uint32_t>(DTTOIF(entry.type)));
  struct stat status{};
  if (::fstatat(level.folder.get(), entry.name, &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return ShownStatus::kindOf(status.st_mode);
}

FilePath TreeEnumerator::pathOf(const Level& level) const {
  return FilePath(path_.substr(0, std::max<std::size_t>(level.prefixLength - 1, 1)));
}

void TreeEnumerator::omit(FilePath folder, std::optional<ErrorNumber> error) {
  // Gone, or a file or link by now: nothing is hidden from anybody.
  const bool hasVanished = error && (error->value == ENOENT || error->value == ENOTDIR || error->value == ELOOP);
  if (!hasVanished) omissions_.push_back({.folder = std::move(folder), .error = error});
}

}  // namespace quillbrook
