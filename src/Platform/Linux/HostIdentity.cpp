// SPDX-License-Identifier: MIT
#include "Platform/Linux/HostIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<HostIdentity> HostIdentity::at(int folder, const char* name) {
  struct statx found{};
  constexpr int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (::statx(folder, name, flags, STATX_INO | STATX_BTIME, &found) == -1) return SystemCall::failure();
  HostIdentity identity{.deviceMajor = found.stx_dev_major,
                        .deviceMinor = found.stx_dev_minor,
                        .inode = found.stx_ino,
                        .birth = std::nullopt};
  if ((found.stx_mask & STATX_BTIME) != 0) {
    identity.birth = Timestamp{.seconds = found.stx_btime.tv_sec, .nanoseconds = found.stx_btime.tv_nsec};
  }
  return identity;
}

}  // namespace quillbrook
