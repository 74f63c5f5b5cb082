// SPDX-License-Identifier: MIT
#include "Volume/Expansion/SourceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

using namespace std::chrono_literals;

const std::string& lockName() {
  static const std::string name(VolumeProtocol::lockFile);
  return name;
}

// Whether the locked file is still the one that others will lock: false if it was taken away meanwhile.
Result<bool> isCurrent(int privateFolder, int file) {
  const auto own = SystemCall::status(file);
  if (!own) return std::unexpected(own.error());
  struct stat there{};
  if (::fstatat(privateFolder, lockName().c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return false;
    return SystemCall::failure();
  }
  return own->st_dev == there.st_dev && own->st_ino == there.st_ino;
}

// Whoever only asks whether the source is served has the lock for a moment.
Result<void> lockSoon(int file) {
  constexpr auto patience = 200ms;
  constexpr auto pause = 5ms;
  for (const auto end = std::chrono::steady_clock::now() + patience;;) {
    auto locked = SystemCall::checked([&] { return ::flock(file, LOCK_EX | LOCK_NB); });
    if (locked || locked.error() != ErrorNumber::wouldBlock || std::chrono::steady_clock::now() >= end) return locked;
    std::this_thread::sleep_for(pause);
  }
}

}  // namespace

SourceLock::SourceLock(int source, FileDescriptor privateFolder, FileDescriptor file)
    : source_(source), privateFolder_(std::move(privateFolder)), file_(std::move(file)) {}

Result<SourceLock> SourceLock::acquire(int source) {
  for (;;) {
    auto privateFolder = PrivateFolder::open(source);
    if (!privateFolder) return std::unexpected(privateFolder.error());
    auto file = SystemCall::openAt(privateFolder->get(), lockName().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (!file && file.error() == ErrorNumber::noEntry) continue;  // the private folder was removed just now
    if (!file) return std::unexpected(file.error());
    if (const auto locked = lockSoon(file->get()); !locked) return std::unexpected(locked.error());
    const auto current = isCurrent(privateFolder->get(), file->get());
    if (!current) return std::unexpected(current.error());
    if (*current) return SourceLock(source, std::move(*privateFolder), std::move(*file));
  }
}

void SourceLock::removePrivateFolder() const {
  const std::string redo(VolumeProtocol::redoFolder);
  if (::unlinkat(privateFolder_.get(), redo.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return;
  ::unlinkat(privateFolder_.get(), lockName().c_str(), 0);
  const std::string name(VolumeProtocol::privateFolder);
  ::unlinkat(source_, name.c_str(), AT_REMOVEDIR);
}

}  // namespace quillbrook
