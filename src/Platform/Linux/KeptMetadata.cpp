// SPDX-License-Identifier: MIT
#include "Platform/Linux/KeptMetadata.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <cerrno>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {
namespace {

constexpr const char* capabilityName = "security.capability";

}  // namespace

Result<KeptMetadata> KeptMetadata::of(int file) {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  KeptMetadata kept{.mode = status->st_mode & SystemCall::permissionBits,
                    .accessTime = status->st_atim,
                    .modificationTime = status->st_mtim,
                    .capability = {}};
  std::array<std::uint8_t, capabilityMaximum> capability;
  const auto got = ::fgetxattr(file, capabilityName, capability.data(), capability.size());
  if (got == -1 && errno != ENODATA && errno != EOPNOTSUPP) return SystemCall::failure();
  if (got > 0) kept.capability.assign(capability.begin(), capability.begin() + got);
  return kept;
}

Result<void> KeptMetadata::restorePermissions(int file) const {
  const auto now = SystemCall::status(file);
  if (!now) return std::unexpected(now.error());
  // Writing takes set-id bits away and nothing else: whatever else is different, somebody has changed since.
  constexpr mode_t lost = S_ISUID | S_ISGID;
  const mode_t current = now->st_mode & SystemCall::permissionBits;
  const bool isOnlyLoss = (current & ~lost) == (mode & ~lost);
  if (isOnlyLoss && current != mode && ::fchmod(file, mode) == -1) return SystemCall::failure();
  if (capability.empty() || ::fgetxattr(file, capabilityName, nullptr, 0) > 0) return {};
  return SystemCall::checked(
      [&] { return ::fsetxattr(file, capabilityName, capability.data(), capability.size(), 0); });
}

Result<void> KeptMetadata::restoreTimes(int file) const {
  const std::array<timespec, 2> times{accessTime, modificationTime};
  return SystemCall::checked([&] { return ::futimens(file, times.data()); });
}

}  // namespace quillbrook
