// SPDX-License-Identifier: MIT
#include "Platform/Linux/WorkInProgress.h"

#include <fcntl.h>
#include <sys/xattr.h>

#include <cerrno>
#include <map>
#include <optional>
#include <utility>

#include "Platform/Linux/AttributeNames.h"
#include "Platform/Linux/DataSync.h"
#include "Platform/Linux/ExtendedAttributes.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Mutex.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::WorkInProgress {
namespace {

struct WorkFile {
  FileDescriptor file;  // until its data have been waited for
  std::optional<Result<void>> wait;
  bool wantedSpace = false;
};

struct Memory {
  Mutex mutex;
  std::map<InodeNumber, WorkFile> files QB_GUARDED_BY(mutex);
};

Memory& memory() {
  static Memory instance;
  return instance;
}

bool isWantOfSpace(ErrorNumber error) {
  return error.value == ENOSPC || error.value == EDQUOT || error.value == E2BIG;
}

// One that nobody here created.
Result<void> waitForUnknown(int inode) {
  const auto file = SystemCall::asOwner(
      inode, [&] { return SystemCall::openAt(AT_FDCWD, SystemCall::pathOf(inode).c_str(), O_RDONLY); });
  if (!file) return std::unexpected(file.error());
  return DataSync::waitForData(file->get());
}

}  // namespace

bool isMarked(int file) {
  const auto marker = AttributeNames::hostName(ReservedNames::workFileMarker);
  return marker && ::fgetxattr(file, marker->c_str(), nullptr, 0) >= 0;
}

void unmark(int file) {
  [[maybe_unused]] const auto removed =
      SystemCall::asOwner(file, [&] { return ExtendedAttributes::remove(file, ReservedNames::workFileMarker); });
}

void begin(InodeNumber inode, int file) {
  // Without a descriptor to spare the wait opens the file again, and sees what the kernel still knows by then.
  WorkFile begun;
  begun.file = FileDescriptor(::fcntl(file, F_DUPFD_CLOEXEC, 0));
  Memory& all = memory();
  const MutexLock guard(all.mutex);
  all.files.insert_or_assign(inode, std::move(begun));
}

void end(InodeNumber file) {
  std::map<InodeNumber, WorkFile>::node_type ended;  // closed behind the lock
  Memory& all = memory();
  const MutexLock guard(all.mutex);
  ended = all.files.extract(file);
}

Result<void> notingWantOfSpace(int inode, const Result<void>& outcome) {
  if (outcome || !isWantOfSpace(outcome.error())) return outcome;
  if (const auto status = SystemCall::status(inode)) {
    Memory& all = memory();
    const MutexLock guard(all.mutex);
    const auto known = all.files.find(InodeNumber::of(*status));
    if (known != all.files.end()) known->second.wantedSpace = true;
  }
  return outcome;
}

bool wantedSpace(InodeNumber file) {
  Memory& all = memory();
  const MutexLock guard(all.mutex);
  const auto known = all.files.find(file);
  return known != all.files.end() && known->second.wantedSpace;
}

Result<void> waitForData(int inode) {
  const auto status = SystemCall::status(inode);
  if (!status) return std::unexpected(status.error());
  const auto number = InodeNumber::of(*status);
  FileDescriptor file;
  {
    Memory& all = memory();
    const MutexLock guard(all.mutex);
    const auto known = all.files.find(number);
    if (known != all.files.end() && known->second.wait) return *known->second.wait;
    if (known != all.files.end()) file = std::move(known->second.file);
  }
  const auto waited = file.isOpen() ? DataSync::waitForData(file.get()) : waitForUnknown(inode);
  Memory& all = memory();
  const MutexLock guard(all.mutex);
  if (const auto known = all.files.find(number); known != all.files.end()) known->second.wait = waited;
  return waited;
}

}  // namespace quillbrook::WorkInProgress
