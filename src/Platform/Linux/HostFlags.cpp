// SPDX-License-Identifier: MIT
#include "Platform/Linux/HostFlags.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::HostFlags {
namespace {

constexpr std::uint32_t carriedFlags = FS_NODUMP_FL | FS_NOATIME_FL | FS_SYNC_FL | FS_NOCOW_FL;

// ENOTTY or `notSupported` where the file system has no such flags.
Result<std::uint32_t> read(int file) {
  int flags = 0;
  if (SystemCall::retrying([&] { return ::ioctl(file, FS_IOC_GETFLAGS, &flags); }) == -1) return SystemCall::failure();
  return static_cast<std::uint32_t>(flags);
}

Result<void> write(int file, std::uint32_t flags) {
  auto value = static_cast<int>(flags);  // an int, whatever the request's declaration says
  return SystemCall::checked([&] { return ::ioctl(file, FS_IOC_SETFLAGS, &value); });
}

}  // namespace

std::uint32_t carried(int file) {
  return read(file).value_or(0) & carriedFlags;
}

void carry(std::uint32_t flags, int file) {
  for (; flags != 0; flags &= flags - 1) {
    const auto now = read(file);
    if (!now) return;
    // One by one, so that a flag which is refused does not keep the others off.
    [[maybe_unused]] const auto written = write(file, *now | (flags & -flags));
  }
}

Result<void> setNoDump(int file, bool isOn) {
  const auto now = read(file);
  if (!now) return std::unexpected(now.error());
  const auto wanted = isOn ? *now | FS_NODUMP_FL : *now & ~std::uint32_t{FS_NODUMP_FL};
  return wanted == *now ? Result<void>() : write(file, wanted);
}

}  // namespace quillbrook::HostFlags
