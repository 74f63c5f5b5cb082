// SPDX-License-Identifier: MIT
#include "Platform/Linux/ShownStatus.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdint>
#include <optional>

#include "Container/ContainerState.h"
#include "Platform/Linux/FileFlags.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook::ShownStatus {
namespace {

Timestamp timestamp(const struct statx_timestamp& time) {
  return {.seconds = time.tv_sec, .nanoseconds = time.tv_nsec};
}

FileStatus hostStatus(const struct statx& found) {
  FileStatus status;
  status.st_dev = makedev(found.stx_dev_major, found.stx_dev_minor);
  status.st_ino = found.stx_ino;
  status.st_mode = found.stx_mode & SystemCall::permissionBits;
  status.kind = kindOf(found.stx_mode);
  status.st_nlink = found.stx_nlink;
  status.st_uid = found.stx_uid;
  status.st_gid = found.stx_gid;
  status.st_size = static_cast<std::int64_t>(found.stx_size);
  status.st_blocks = static_cast<std::int64_t>(found.stx_blocks);
  status.st_flags = FileFlags::hostFlags(found.stx_attributes);
  status.st_atimespec = timestamp(found.stx_atime);
  status.st_mtimespec = timestamp(found.stx_mtime);
  if ((found.stx_mask & STATX_BTIME) != 0) status.st_birthtimespec = timestamp(found.stx_btime);
  return status;
}

Result<FileStatus> hostStatusAt(int folder, const char* name) {
  struct statx found{};
  constexpr int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (::statx(folder, name, flags, STATX_BASIC_STATS | STATX_BTIME, &found) == -1) return SystemCall::failure();
  return hostStatus(found);
}

FileStatus withState(FileStatus status, const Result<std::optional<ContainerState>>& state) {
  if (!state) status.st_flags |= UF_COMPRESSED;
  if (!state || !*state) return status;
  status.st_flags |= (*state)->st_flags;
  if ((*state)->creationTime) status.st_birthtimespec = *(*state)->creationTime;
  if ((*state)->isSealed()) {
    status.st_size = static_cast<std::int64_t>((*state)->logicalByteCount);
    const bool hasCopyInstead = (*state)->redoIdentifier != 0;
    if (!hasCopyInstead) status.payload = {(*state)->head, (*state)->valueByteCount, (*state)->forkByteCount};
  }
  if ((*state)->isUnderConstruction()) status.st_size = 0;
  return status;
}

}  // namespace

FileKind kindOf(std::uint32_t mode) {
  if (S_ISREG(mode)) return FileKind::regular;
  if (S_ISDIR(mode)) return FileKind::directory;
  if (S_ISLNK(mode)) return FileKind::symbolicLink;
  return FileKind::other;
}

Result<FileStatus> of(int file) {
  const auto status = hostStatusAt(file, "");
  if (!status || status->kind != FileKind::regular) return status;
  return withState(*status, StoredState::read(file));
}

Result<FileStatus> at(int folder, const char* name) {
  const auto status = hostStatusAt(folder, name);
  if (!status || status->kind != FileKind::regular) return status;
  return withState(*status, StoredState::readAt(folder, name));
}

}  // namespace quillbrook::ShownStatus
