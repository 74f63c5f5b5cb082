// SPDX-License-Identifier: MIT
#include "Volume/Daemon/SourceFolder.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <mntent.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/PrivateFolder.h"

namespace quillbrook {

namespace {

std::string words(const std::string& what) {
  return what + ": " + ErrorNumber{errno}.text();
}

bool isBeneath(std::string_view path, std::string_view folder) {
  return path == folder || folder == "/" || (path.starts_with(folder) && path[folder.size()] == '/');
}

// What of the volumes in the mount table speaks against `source`. A volume stands at its mount point and takes its
// content from its source; neither may lie inside the other's.
std::optional<std::string> conflict(const std::string& source) {
  const std::unique_ptr<FILE, int (*)(FILE*)> table(setmntent("/proc/self/mounts", "re"), endmntent);
  if (!table) return "cannot read the mount table";
  mntent entry{};
  std::array<char, 3 * PATH_MAX> buffer{};
  while (getmntent_r(table.get(), &entry, buffer.data(), static_cast<int>(buffer.size())) != nullptr) {
    if (entry.mnt_type != VolumeProtocol::mountType) continue;
    for (const std::string place : {entry.mnt_dir, entry.mnt_fsname}) {
      if (isBeneath(source, place)) return source + " lies inside the volume at " + entry.mnt_dir;
      if (isBeneath(place, source)) return source + " holds the volume at " + entry.mnt_dir;
    }
  }
  return std::nullopt;
}

std::expected<FileDescriptor, std::string> lockSource(int source, bool isReadOnly) {
  const auto folder = PrivateFolder::openRedo(source);
  if (!folder) {
    if (isReadOnly && (folder.error() == ErrorNumber{EROFS} || folder.error() == ErrorNumber{EACCES})) {
      return FileDescriptor();
    }
    return std::unexpected("cannot make the volume's own folder: " + folder.error().text());
  }
  const std::string name = "../" + std::string(VolumeProtocol::lockFile);
  FileDescriptor lock(openat(folder->get(), name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!lock.isOpen()) return std::unexpected(words("cannot make the volume's lock"));
  if (SystemCall::retrying([&] { return flock(lock.get(), LOCK_EX | LOCK_NB); }) != 0) {
    return std::unexpected(errno == EWOULDBLOCK ? "another daemon serves this folder"
                                                : words("cannot lock the folder"));
  }
  return lock;
}

bool isSameFolder(const FilePath& path, const struct stat& status) {
  struct stat other{};
  return stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
}

}  // namespace

std::expected<SourceFolder, std::string> SourceFolder::open(const Options& options) {
  SourceFolder folder;
  FileDescriptor descriptor(::open(options.source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.isOpen()) return std::unexpected(words(options.source.displayText()));
  if (fstat(descriptor.get(), &folder.status) != 0) return std::unexpected(words(options.source.displayText()));

  std::array<char, PATH_MAX> path{};
  const ssize_t length = readlink(SystemCall::pathOf(descriptor.get()).c_str(), path.data(), path.size());
  if (length <= 0) return std::unexpected(words("cannot tell where the folder lies"));
  folder.path.assign(path.data(), static_cast<std::size_t>(length));

  if (options.deviceDescriptor) {
    // Mounted already, and nobody answers there before this daemon does: the mount point must not be touched.
    folder.isInPlace = options.mountPoint == options.source || options.mountPoint.bytes() == folder.path;
  } else {
    if (auto reason = conflict(folder.path)) return std::unexpected(std::move(*reason));
    folder.isInPlace = isSameFolder(options.mountPoint, folder.status);
  }
  auto lock = lockSource(descriptor.get(), options.readOnly);
  if (!lock) return std::unexpected(std::move(lock.error()));
  folder.lock = std::move(*lock);
  folder.descriptor = std::make_shared<InodeDescriptor>(std::move(descriptor));
  return folder;
}

}  // namespace quillbrook
