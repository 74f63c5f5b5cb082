// SPDX-License-Identifier: MIT
#include "Platform/Linux/FileFlags.h"

#include <fcntl.h>
#include <linux/stat.h>
#include <sys/stat.h>

#include <optional>

#include "Container/ContainerState.h"
#include "Platform/Linux/ContainerBuilder.h"
#include "Platform/Linux/HostFlags.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/WorkInProgress.h"

namespace quillbrook::FileFlags {
namespace {

// A state is kept only where there is something to keep in it.
Result<void> keep(int inode, const std::optional<ContainerState>& before, const ContainerState& state) {
  const bool isNeeded = state != ContainerState{};
  if (isNeeded ? before == state : !before) return {};
  return SystemCall::asOwner(inode,
                             [&] { return isNeeded ? StoredState::write(inode, state) : StoredState::remove(inode); });
}

// Lets the host keep no-dump where it can. Returns the flags that are left for the state.
Result<std::uint32_t> giveToHost(int inode, std::uint32_t flags) {
  struct statx status{};
  if (::statx(inode, "", AT_EMPTY_PATH, STATX_BASIC_STATS, &status) == -1) return SystemCall::failure();
  const bool wanted = (flags & UF_NODUMP) != 0;
  if (wanted == ((hostFlags(status.stx_attributes) & UF_NODUMP) != 0)) return flags & ~UF_NODUMP;
  const auto file = SystemCall::asOwner(
      inode, [&] { return SystemCall::openAt(AT_FDCWD, SystemCall::pathOf(inode).c_str(), O_RDONLY | O_NONBLOCK); });
  if (!file) return std::unexpected(file.error());
  if (HostFlags::setNoDump(file->get(), wanted)) return flags & ~UF_NODUMP;
  return flags;
}

}  // namespace

std::uint32_t hostFlags(std::uint64_t attributes) {
  std::uint32_t flags = 0;
  if ((attributes & STATX_ATTR_NODUMP) != 0) flags |= UF_NODUMP;
  if ((attributes & STATX_ATTR_IMMUTABLE) != 0) flags |= SF_IMMUTABLE;
  if ((attributes & STATX_ATTR_APPEND) != 0) flags |= SF_APPEND;
  return flags;
}

Result<void> set(int inode, std::uint32_t flags, bool acceptsCompression) {
  if ((flags & ~userSettableFlags) != 0) return std::unexpected(ErrorNumber::notPermitted);
  const auto status = SystemCall::status(inode);
  if (!status) return std::unexpected(status.error());
  const auto state = StoredState::read(inode);
  if (!state) return std::unexpected(state.error());
  const bool isSealed = *state && (*state)->isSealed();
  const bool seals = (flags & UF_COMPRESSED) != 0;
  if (isSealed && ((*state)->st_flags & ~UF_NODUMP) == (flags & ~UF_NODUMP)) return {};
  if (isSealed) return std::unexpected(ErrorNumber::notSupported);  // its trailer says what it is
  if (seals) {
    if (!acceptsCompression) return std::unexpected(ErrorNumber::notSupported);
    if (!*state || !(*state)->isUnderConstruction()) return std::unexpected(ErrorNumber::invalid);
    if (WorkInProgress::wantedSpace(InodeNumber::of(*status))) return std::unexpected(ErrorNumber::noSpace);
  }
  if (!S_ISREG(status->st_mode) && flags != 0) return std::unexpected(ErrorNumber::notSupported);
  if (!S_ISREG(status->st_mode)) return {};
  const auto left = giveToHost(inode, flags);
  if (!left) return std::unexpected(left.error());
  if (seals) return ContainerBuilder::seal(inode, **state, *left);
  auto changed = state->value_or(ContainerState{});
  changed.st_flags = *left;
  return keep(inode, *state, changed);
}

Result<void> setCreationTime(int inode, Timestamp creation) {
  const auto status = SystemCall::status(inode);
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode)) return std::unexpected(ErrorNumber::notSupported);
  const auto state = StoredState::read(inode);
  if (!state) return std::unexpected(state.error());
  if (*state && (*state)->isSealed()) return std::unexpected(ErrorNumber::notSupported);
  auto changed = state->value_or(ContainerState{});
  changed.creationTime.reset();
  if (creation != Timestamp{}) changed.creationTime = creation;  // zero: the source has none to carry
  return keep(inode, *state, changed);
}

}  // namespace quillbrook::FileFlags
