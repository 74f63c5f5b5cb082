// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderBinding.h"
#include "Platform/Linux/ReadLease.h"
#include "Platform/Linux/VolumePath.h"

namespace quillbrook {

// flock on the backing inode, and through the mount inside a volume, and a read lease on the backing inode where the
// kernel grants one. Without a lease isHeld() compares what the file looks like instead.
class NativeLock : public LockableFile {
 public:
  // The errors of open. What a volume's daemon serves elsewhere may not be changed past it: flock answers `wouldBlock`.
  // Our own store's files are not opened at all, since closing them would drop the locks that
  // this process holds on them: flock answers `wouldBlock`.
  [[nodiscard]] static Result<std::unique_ptr<LockableFile>> open(const VolumePath& place, const FilePath& path);
  ~NativeLock() override;
  NativeLock(const NativeLock&) = delete;
  NativeLock& operator=(const NativeLock&) = delete;

  // From here on the path means the locked inode to this thread, and its folder the one that was found then; the lock
  // must end in this thread as well.
  Result<void> flock() override;
  [[nodiscard]] bool isHeld() const override;
  // Whether it is this inode that is locked: held open, its number cannot have gone to another file.
  [[nodiscard]] bool isOn(std::uint64_t device, std::uint64_t inode) const;
  // When anything of the file was changed last, as it was before the lock was asked for: a mode, an attribute or a link
  // that comes later is not in what is copied from it.
  [[nodiscard]] const struct timespec& changeTime() const { return changeTime_; }

 private:
  NativeLock(FilePath path, VolumePath place) : path_(std::move(path)), place_(std::move(place)) {}

  const FilePath path_;
  const VolumePath place_;
  bool isBound_ = false;
  std::optional<FolderBinding> folder_;
  FileDescriptor throughMount_;
  FileDescriptor backing_;  // not open: a file of the store
  struct timespec changeTime_{};
  std::optional<struct stat> statusAtLock_;
  std::optional<ReadLease> lease_;  // goes before its descriptor
};

}  // namespace quillbrook
