// SPDX-License-Identifier: MIT
#include "Platform/Linux/NativeLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "Platform/Linux/InodeNumber.h"
#include "Platform/Linux/PathBinding.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/ServedSources.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/StandardFolders.h"

namespace quillbrook {
namespace {

using namespace std::chrono_literals;

// A handle that a program has closed is released a little later.
constexpr auto patience = 50ms;
constexpr auto pause = 2ms;

constexpr std::string_view storePrefix = "store.sqlite";

// `parent` is the folder as programs see it: through the mount inside a volume.
bool isOfTheStore(const std::string& name, int parent) {
  if (!name.starts_with(storePrefix)) return false;
  struct stat store{};
  const auto folder = SystemCall::status(parent);
  return folder && ::stat(StandardFolders::applicationSupport().c_str(), &store) == 0 &&
         folder->st_dev == store.st_dev && folder->st_ino == store.st_ino;
}

Result<void> lockExclusively(const FileDescriptor& file) {
  return SystemCall::checked([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); });
}

}  // namespace

Result<std::unique_ptr<LockableFile>> NativeLock::open(const VolumePath& place, const FilePath& path) {
  std::unique_ptr<NativeLock> lock(new NativeLock(path, place));
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;
  if (place.isMapped()) {
    const auto folder = place.openMountFolder();
    if (!folder && folder.error() == ErrorNumber::busy) return std::unexpected(ErrorNumber::stale);
    if (!folder) return std::unexpected(folder.error());
    if (isOfTheStore(place.name, folder->get())) return lock;
    auto throughMount = SystemCall::openAt(folder->get(), place.name.c_str(), flags | VolumeProtocol::lockOpenFlags);
    if (!throughMount && throughMount.error() == ErrorNumber::wouldBlock) return lock;  // flock says so
    if (!throughMount) return std::unexpected(throughMount.error());
    lock->throughMount_ = std::move(*throughMount);
  } else if (isOfTheStore(place.name, place.folder()) || PrivateFolder::isServedAbove(place.folder()) ||
             ServedSources::contain(place.folder())) {
    return lock;
  }
  auto backing = SystemCall::openAt(place.folder(), place.name.c_str(), flags);
  if (!backing) return std::unexpected(backing.error());
  const auto status = SystemCall::status(backing->get());
  if (!status) return std::unexpected(status.error());
  lock->changeTime_ = status->st_ctim;
  lock->backing_ = std::move(*backing);
  return lock;
}

NativeLock::~NativeLock() {
  if (isBound_) PathBinding::unbind(path_);
}

Result<void> NativeLock::flock() {
  if (!backing_.isOpen()) return std::unexpected(ErrorNumber::wouldBlock);
  if (throughMount_.isOpen()) {
    if (const auto locked = lockExclusively(throughMount_); !locked) return locked;
  }
  if (const auto locked = lockExclusively(backing_); !locked) return locked;
  const auto status = SystemCall::status(backing_.get());
  if (!status) return std::unexpected(status.error());
  folder_.emplace(place_);
  PathBinding::bind(path_, InodeNumber::of(*status));
  isBound_ = true;
  for (const auto end = std::chrono::steady_clock::now() + patience;;) {
    auto lease = ReadLease::take(backing_.get());
    if (lease) {
      lease_.emplace(std::move(*lease));
      return {};
    }
    if (lease.error() != ErrorNumber::wouldBlock) break;
    if (std::chrono::steady_clock::now() >= end) return std::unexpected(ErrorNumber::wouldBlock);
    std::this_thread::sleep_for(pause);
  }
  statusAtLock_ = *status;
  return {};
}

bool NativeLock::isOn(std::uint64_t device, std::uint64_t inode) const {
  const auto status = SystemCall::status(backing_.get());
  return status && status->st_dev == device && status->st_ino == inode;
}

bool NativeLock::isHeld() const {
  if (lease_) return lease_->isHeld();
  if (!statusAtLock_) return false;
  // Not the change time: the exchange of names changes it, and so does a mere chmod.
  const auto now = SystemCall::status(backing_.get());
  return now && now->st_size == statusAtLock_->st_size && now->st_mtim.tv_sec == statusAtLock_->st_mtim.tv_sec &&
         now->st_mtim.tv_nsec == statusAtLock_->st_mtim.tv_nsec;
}

}  // namespace quillbrook
