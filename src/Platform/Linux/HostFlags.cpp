// SPDX-License-Identifier: MIT
#include "Platform/Linux/HostFlags.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include <array>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::HostFlags {
namespace {

constexpr std::array<std::uint32_t, 4> carriedFlags{FS_NODUMP_FL, FS_NOATIME_FL, FS_SYNC_FL, FS_NOCOW_FL};

Result<void> write(int file, std::uint32_t flags) {
  auto value = static_cast<int>(flags);  // an int, whatever the request's declaration says
  return SystemCall::checked([&] { return ::ioctl(file, FS_IOC_SETFLAGS, &value); });
}

}  // namespace

Result<std::uint32_t> read(int file) {
  int flags = 0;
  if (SystemCall::retrying([&] { return ::ioctl(file, FS_IOC_GETFLAGS, &flags); }) == -1) return SystemCall::failure();
  return static_cast<std::uint32_t>(flags);
}

void carry(int from, int to) {
  const auto wanted = read(from);
  if (!wanted) return;
  for (const auto flag : carriedFlags) {
    const auto now = read(to);
    if ((*wanted & flag) == 0 || !now) continue;
    // One by one, so that a flag which is refused does not keep the others off.
    [[maybe_unused]] const auto carried = write(to, *now | flag);
  }
}

Result<void> setNoDump(int file, bool isOn) {
  const auto now = read(file);
  if (!now) return std::unexpected(now.error());
  const auto wanted = isOn ? *now | FS_NODUMP_FL : *now & ~std::uint32_t{FS_NODUMP_FL};
  return wanted == *now ? Result<void>() : write(file, wanted);
}

}  // namespace quillbrook::HostFlags
