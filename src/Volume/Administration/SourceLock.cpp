// SPDX-License-Identifier: MIT
#include "Volume/Administration/SourceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/PrivateFolder.h"

namespace quillbrook {
namespace {

const std::string lockName(VolumeProtocol::lockFile);

// Whether the locked file is still the one that others will lock.
bool isCurrent(int privateFolder, int file) {
  struct stat own{};
  struct stat there{};
  return ::fstat(file, &own) == 0 && ::fstatat(privateFolder, lockName.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0 &&
         own.st_dev == there.st_dev && own.st_ino == there.st_ino;
}

}  // namespace

SourceLock::SourceLock(int source, FileDescriptor privateFolder, FileDescriptor file)
    : source_(source), privateFolder_(std::move(privateFolder)), file_(std::move(file)) {}

std::expected<SourceLock, VolumeError> SourceLock::acquire(int source, const FilePath& folder) {
  for (;;) {
    auto privateFolder = PrivateFolder::open(source);
    if (!privateFolder) return systemFailure("open the private folder of", folder, privateFolder.error());
    FileDescriptor file(
        ::openat(privateFolder->get(), lockName.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen()) {
      if (errno == ENOENT) continue;  // the private folder was removed just now
      return systemFailure("lock", folder, ErrorNumber{errno});
    }
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EWOULDBLOCK) return std::unexpected(VolumeErrors::Served{folder});
      return systemFailure("lock", folder, ErrorNumber{errno});
    }
    if (isCurrent(privateFolder->get(), file.get()))
      return SourceLock(source, std::move(*privateFolder), std::move(file));
  }
}

bool SourceLock::removePrivateFolder() {
  const std::string redo(VolumeProtocol::redoFolder);
  if (::unlinkat(privateFolder_.get(), redo.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return false;
  ::unlinkat(privateFolder_.get(), lockName.c_str(), 0);
  const std::string name(VolumeProtocol::privateFolder);
  return ::unlinkat(source_, name.c_str(), AT_REMOVEDIR) == 0;
}

}  // namespace quillbrook
