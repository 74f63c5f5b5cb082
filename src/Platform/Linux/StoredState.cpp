// SPDX-License-Identifier: MIT
#include "Platform/Linux/StoredState.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::StoredState {
namespace {

// getxattrat(2), which the C library does not know yet: its number on every architecture, and struct xattr_args.
constexpr long getxattrat = 464;
struct GetArguments {
  std::uint64_t value;  // address
  std::uint32_t byteCount;
  std::uint32_t flags;
};
static_assert(sizeof(GetArguments) == 16);

constexpr const char* attribute = ContainerState::attributeName.data();

// Whether the attribute is listed; a list that cannot be had is no proof that it is not. `list` is listxattr or
// llistxattr of the inode. Unlike values, names may be listed by everybody.
template <typename List>
bool mayBeListed(List list) {
  std::string names;
  for (int attempt = 0; attempt < 3; ++attempt) {  // it may grow between the two calls
    const auto needed = list(nullptr, 0);
    if (needed == -1) return true;
    names.resize(static_cast<std::size_t>(needed));
    const auto got = list(names.data(), names.size());
    if (got == -1 && errno == ERANGE) continue;
    if (got == -1) return true;
    names.resize(static_cast<std::size_t>(got));
    std::string needle(ContainerState::attributeName);
    needle.push_back('\0');
    return names.starts_with(needle) || names.contains('\0' + needle);
  }
  return true;
}

template <typename Get, typename List>
Result<std::optional<ContainerState>> readBy(Get get, List list) {
  std::array<std::uint8_t, ContainerState::byteCount> bytes;
  const auto got = get(bytes.data(), bytes.size());
  if (got == -1) {
    const auto error = errno;
    if (error == ENODATA || error == EOPNOTSUPP) return std::nullopt;
    if (error == ERANGE) return std::unexpected(ErrorNumber::inputOutput);  // longer than any state
    if ((error == EACCES || error == EPERM) && !mayBeListed(list)) return std::nullopt;
    return std::unexpected(ErrorNumber{error});
  }
  const auto state = ContainerState::decode(std::span(bytes).first(static_cast<std::size_t>(got)));
  if (!state) return std::unexpected(ErrorNumber::inputOutput);
  return state;
}

}  // namespace

Result<std::optional<ContainerState>> read(int file) {
  const auto path = SystemCall::pathOf(file);
  return readBy([&](void* bytes, std::size_t count) { return ::getxattr(path.c_str(), attribute, bytes, count); },
                [&](char* names, std::size_t count) { return ::listxattr(path.c_str(), names, count); });
}

Result<std::optional<ContainerState>> readAt(const char* path) {
  return readBy([&](void* bytes, std::size_t count) { return ::lgetxattr(path, attribute, bytes, count); },
                [&](char* names, std::size_t count) { return ::llistxattr(path, names, count); });
}

Result<std::optional<ContainerState>> readAt(int folder, const char* name) {
  const auto path = [&] { return SystemCall::pathOf(folder) + "/" + name; };
  return readBy(
      [&](void* bytes, std::size_t count) -> ssize_t {
        GetArguments arguments{.value = reinterpret_cast<std::uintptr_t>(bytes),
                               .byteCount = static_cast<std::uint32_t>(count),
                               .flags = 0};
        const auto got =
            ::syscall(getxattrat, folder, name, AT_SYMLINK_NOFOLLOW, attribute, &arguments, sizeof arguments);
        // A sandbox may answer calls that it does not know with EPERM.
        if (got != -1 || (errno != ENOSYS && errno != EPERM)) return got;
        return ::lgetxattr(path().c_str(), attribute, bytes, count);
      },
      [&](char* names, std::size_t count) { return ::llistxattr(path().c_str(), names, count); });
}

Result<void> write(int file, const ContainerState& state) {
  const auto path = SystemCall::pathOf(file);
  const auto bytes = state.encode();
  return SystemCall::checked([&] { return ::setxattr(path.c_str(), attribute, bytes.data(), bytes.size(), 0); });
}

Result<void> remove(int file) {
  const auto path = SystemCall::pathOf(file);
  const auto removed = SystemCall::checked([&] { return ::removexattr(path.c_str(), attribute); });
  if (!removed && removed.error() == ErrorNumber::attributeMissing) return {};
  return removed;
}

}  // namespace quillbrook::StoredState
