// SPDX-License-Identifier: MIT
#include "Platform/Linux/ExtendedAttributes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Container/ContainerPayload.h"
#include "Platform/Linux/AttributeNames.h"
#include "Platform/Linux/ContainerBuilder.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::ExtendedAttributes {
namespace {

constexpr const char* accessListName = "system.posix_acl_access";

bool isPayloadName(std::string_view name) {
  return name == ReservedNames::decmpfs || name == ReservedNames::resourceFork;
}

// The state of a container, sealed or not; nothing for every other file.
Result<std::optional<ContainerState>> containerState(int inode) {
  auto state = StoredState::read(inode);
  if (state && *state && !(*state)->isSealed() && !(*state)->isUnderConstruction()) return std::nullopt;
  return state;
}

// How much of the value can be read: while a redo copy is the content, what stands in the inode is being overwritten,
// and only the head, which the state holds too, is left.
std::uint32_t readableValueByteCount(const ContainerState& state) {
  if (state.redoIdentifier == 0) return state.valueByteCount;
  return std::min<std::uint32_t>(state.valueByteCount, ContainerState::headByteCount);
}

Result<void> readPayload(int inode, const ContainerState& state, std::uint64_t offset, std::span<std::uint8_t> bytes) {
  if (state.redoIdentifier != 0) return std::unexpected(ErrorNumber::inputOutput);
  const auto file = SystemCall::openUnnoticed(AT_FDCWD, SystemCall::pathOf(inode).c_str(), O_RDONLY);
  if (!file) return std::unexpected(file.error());
  const DescriptorSource source(file->get());
  if (state.isSealed()) {
    const auto payload = ContainerPayload::open(source, state);
    if (!payload) return std::unexpected(payload.error());
    return payload->read(offset, bytes);
  }
  const auto got = source.read(offset, bytes);
  if (!got) return std::unexpected(got.error());
  if (*got != bytes.size()) return std::unexpected(ErrorNumber::inputOutput);
  return {};
}

Result<std::size_t> getPayload(int inode, std::string_view name, const ContainerState& state,
                               std::span<std::uint8_t> value) {
  const bool isValue = name == ReservedNames::decmpfs;
  const std::size_t byteCount = isValue ? readableValueByteCount(state) : state.forkByteCount;
  if (!isValue && byteCount == 0) return std::unexpected(ErrorNumber::attributeMissing);
  if (value.data() == nullptr) return byteCount;
  if (value.size() < byteCount) return std::unexpected(ErrorNumber{ERANGE});
  const auto bytes = value.first(byteCount);
  if (isValue && byteCount <= ContainerState::headByteCount) {
    std::copy_n(state.head.begin(), byteCount, bytes.begin());
    return byteCount;
  }
  const auto read = readPayload(inode, state, isValue ? 0 : state.valueByteCount, bytes);
  if (!read) return std::unexpected(read.error());
  return byteCount;
}

// Why a name without a host name cannot be set or removed.
ErrorNumber refusal(std::string_view name) {
  if (AttributeNames::isAccessList(name)) return ErrorNumber::notSupported;
  return AttributeNames::isOurs("user." + std::string(name)) ? ErrorNumber::notPermitted : ErrorNumber::invalid;
}

Result<std::vector<char>> hostNames(const std::string& path) {
  std::vector<char> names;
  for (;;) {
    const auto needed = ::listxattr(path.c_str(), nullptr, 0);
    if (needed == -1) return SystemCall::failure();
    names.resize(static_cast<std::size_t>(needed));
    const auto got = ::listxattr(path.c_str(), names.data(), names.size());
    if (got == -1 && errno == ERANGE) continue;  // one was added in between
    if (got == -1) return SystemCall::failure();
    names.resize(static_cast<std::size_t>(got));
    return names;
  }
}

}  // namespace

Result<std::size_t> get(int inode, std::string_view name, std::span<std::uint8_t> value, bool showCompression) {
  if (isPayloadName(name)) {
    const auto state = containerState(inode);
    if (!state) return std::unexpected(state.error());
    if (*state) {
      if ((*state)->isSealed() && !showCompression) return std::unexpected(ErrorNumber::attributeMissing);
      return getPayload(inode, name, **state, value);
    }
  }
  const auto hostName = AttributeNames::hostName(name);
  if (!hostName) return std::unexpected(ErrorNumber::attributeMissing);
  const auto path = SystemCall::pathOf(inode);
  // A length of 0 asks the host for the size; storage of no bytes must fail instead where there is more.
  const auto got = ::getxattr(path.c_str(), hostName->c_str(), value.data(), value.size());
  if (got == -1) return SystemCall::failure();
  if (value.data() != nullptr && static_cast<std::size_t>(got) > value.size())
    return std::unexpected(ErrorNumber{ERANGE});
  return static_cast<std::size_t>(got);
}

Result<void> set(int inode, std::string_view name, std::span<const std::uint8_t> value) {
  const auto status = SystemCall::status(inode);
  if (!status) return std::unexpected(status.error());
  if (isPayloadName(name) && S_ISREG(status->st_mode)) {
    const auto state = containerState(inode);
    if (!state) return std::unexpected(state.error());
    if (*state && (*state)->isSealed()) return std::unexpected(ErrorNumber::notPermitted);
    const bool begins = name == ReservedNames::decmpfs && !*state && status->st_size == 0;
    if (name == ReservedNames::decmpfs && (*state || begins)) return ContainerBuilder::setValue(inode, value);
    if (*state) return ContainerBuilder::setFork(inode, **state, value);
  }
  const auto hostName = AttributeNames::hostName(name);
  if (!hostName) return std::unexpected(refusal(name));
  const auto path = SystemCall::pathOf(inode);
  return SystemCall::asOwner(inode, [&] {
    return SystemCall::checked(
        [&] { return ::setxattr(path.c_str(), hostName->c_str(), value.data(), value.size(), 0); });
  });
}

Result<void> remove(int inode, std::string_view name) {
  if (isPayloadName(name)) {
    const auto state = containerState(inode);
    if (!state) return std::unexpected(state.error());
    if (*state) return std::unexpected(ErrorNumber::notPermitted);
  }
  const auto hostName = AttributeNames::hostName(name);
  if (!hostName) return std::unexpected(refusal(name));
  const auto path = SystemCall::pathOf(inode);
  return SystemCall::asOwner(
      inode, [&] { return SystemCall::checked([&] { return ::removexattr(path.c_str(), hostName->c_str()); }); });
}

Result<std::size_t> list(int inode, std::span<char> names, bool showCompression) {
  const auto listed = hostNames(SystemCall::pathOf(inode));
  if (!listed) return std::unexpected(listed.error());
  std::string visible;
  bool hasState = false;
  for (auto rest = std::string_view(listed->data(), listed->size()); !rest.empty();) {
    const auto name = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    hasState = hasState || name == ContainerState::attributeName;
    if (const auto shown = AttributeNames::platformName(name)) visible.append(*shown).push_back('\0');
  }
  if (hasState) {
    const auto state = containerState(inode);
    // Of a damaged one nobody knows what it holds; its other attributes are as good as ever.
    if (state && *state && (showCompression || !(*state)->isSealed())) {
      visible.append(ReservedNames::decmpfs).push_back('\0');
      if ((*state)->forkByteCount != 0) visible.append(ReservedNames::resourceFork).push_back('\0');
    }
  }
  if (names.data() == nullptr) return visible.size();
  if (names.size() < visible.size()) return std::unexpected(ErrorNumber{ERANGE});
  std::ranges::copy(visible, names.begin());
  return visible.size();
}

Result<void> copyAccessList(int source, int destination) {
  const auto from = SystemCall::pathOf(source);
  const auto to = SystemCall::pathOf(destination);
  std::vector<std::uint8_t> value(256);
  auto got = ::getxattr(from.c_str(), accessListName, value.data(), value.size());
  while (got == -1 && errno == ERANGE) {
    value.resize(value.size() * 4);
    got = ::getxattr(from.c_str(), accessListName, value.data(), value.size());
  }
  if (got == -1 && errno != ENODATA && errno != EOPNOTSUPP) return SystemCall::failure();
  if (got == -1) {
    // What the work file has is inherited from its folder and would let people in whom the source keeps out.
    if (::getxattr(to.c_str(), accessListName, nullptr, 0) == -1 && errno == ENODATA) return {};
    const auto removed = SystemCall::checked([&] { return ::removexattr(to.c_str(), accessListName); });
    const bool isGone =
        removed || removed.error() == ErrorNumber::attributeMissing || removed.error() == ErrorNumber::notSupported;
    return isGone ? Result<void>() : removed;
  }
  return SystemCall::checked(
      [&] { return ::setxattr(to.c_str(), accessListName, value.data(), static_cast<std::size_t>(got), 0); });
}

}  // namespace quillbrook::ExtendedAttributes
