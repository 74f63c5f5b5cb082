// SPDX-License-Identifier: MIT
#include "Platform/Linux/PrivateFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook::PrivateFolder {
namespace {

Result<FileDescriptor> openFolder(int parent, std::string_view name) {
  return SystemCall::openAt(parent, std::string(name).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

Result<FileDescriptor> openTrusted(int parent, std::string_view name) {
  auto folder = openFolder(parent, name);
  if (!folder && (folder.error().value == ENOTDIR || folder.error().value == ELOOP)) {
    return std::unexpected(ErrorNumber::notPermitted);
  }
  if (!folder) return folder;
  const auto status = SystemCall::status(folder->get());
  if (!status) return std::unexpected(status.error());
  const bool isOwned = status->st_uid == 0 || status->st_uid == ::geteuid();
  if (!isOwned || (status->st_mode & (S_IWGRP | S_IWOTH)) != 0) return std::unexpected(ErrorNumber::notPermitted);
  return folder;
}

Result<FileDescriptor> openMade(int parent, std::string_view name) {
  auto folder = openTrusted(parent, name);
  if (folder || folder.error() != ErrorNumber::noEntry) return folder;
  if (::mkdirat(parent, std::string(name).c_str(), 0700) != 0 && errno != EEXIST) return SystemCall::failure();
  return openTrusted(parent, name);
}

bool isServed(int source) {
  const auto folder = openFolder(source, VolumeProtocol::privateFolder);
  if (!folder) return false;
  const auto lock = SystemCall::openAt(folder->get(), std::string(VolumeProtocol::lockFile).c_str(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  return lock && ::flock(lock->get(), LOCK_SH | LOCK_NB) == -1 && errno == EWOULDBLOCK;
}

}  // namespace

bool isServedAbove(int folder) {
  Result<FileDescriptor> above = SystemCall::openAt(folder, ".", O_PATH | O_DIRECTORY);
  while (above && !isServed(above->get())) above = FolderPath::openAbove(above->get());
  return above.has_value();
}

Result<FileDescriptor> open(int source) {
  return openMade(source, VolumeProtocol::privateFolder);
}

Result<FileDescriptor> openRedo(int source) {
  const auto folder = open(source);
  if (!folder) return std::unexpected(folder.error());
  return openMade(folder->get(), VolumeProtocol::redoFolder);
}

Result<FileDescriptor> find(int source) {
  return openFolder(source, VolumeProtocol::privateFolder);
}

bool exists(int source) {
  struct stat status{};
  return ::fstatat(source, std::string(VolumeProtocol::privateFolder).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

Result<FileDescriptor> findRedo(int source) {
  const auto folder = find(source);
  if (!folder) return std::unexpected(folder.error());
  return findRedoIn(folder->get());
}

Result<FileDescriptor> findRedoIn(int privateFolder) {
  return openFolder(privateFolder, VolumeProtocol::redoFolder);
}

FilePath redoPath(const FilePath& source) {
  return source.appending(VolumeProtocol::privateFolder).appending(VolumeProtocol::redoFolder);
}

}  // namespace quillbrook::PrivateFolder
