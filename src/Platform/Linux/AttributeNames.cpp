// SPDX-License-Identifier: MIT
#include "Platform/Linux/AttributeNames.h"

#include <algorithm>
#include <array>

namespace quillbrook::AttributeNames {
namespace {

using namespace std::string_view_literals;

constexpr auto userPrefix = "user."sv;
constexpr auto ourPrefix = "user.quillbrook."sv;
// The second is how xfs keeps the first, and shows it to root as well.
constexpr std::array accessListPrefixes{"system.posix_acl_"sv, "trusted.SGI_ACL_"sv};
constexpr std::array namespaces{userPrefix, "system."sv, "security."sv, "trusted."sv};

bool beginsWithNamespace(std::string_view name) {
  return std::ranges::any_of(namespaces, [name](std::string_view prefix) { return name.starts_with(prefix); });
}

}  // namespace

bool isAccessList(std::string_view name) {
  return std::ranges::any_of(accessListPrefixes, [name](std::string_view prefix) { return name.starts_with(prefix); });
}

bool isOurs(std::string_view hostName) {
  return hostName.starts_with(ourPrefix);
}

std::optional<std::string> hostName(std::string_view platformName) {
  std::string name(platformName);
  // What begins with "user." here is so only because the rest begins with a namespace, or it would have lost it.
  if (platformName.starts_with(userPrefix)) {
    if (!beginsWithNamespace(platformName.substr(userPrefix.size()))) return std::nullopt;
  } else if (!beginsWithNamespace(platformName)) {
    name.insert(0, userPrefix);
  }
  if (platformName.empty() || isOurs(name) || isAccessList(name)) return std::nullopt;
  return name;
}

std::optional<std::string_view> platformName(std::string_view hostName) {
  if (isOurs(hostName) || isAccessList(hostName)) return std::nullopt;
  if (!hostName.starts_with(userPrefix)) return hostName;
  const auto rest = hostName.substr(userPrefix.size());
  return beginsWithNamespace(rest) ? hostName : rest;
}

}  // namespace quillbrook::AttributeNames
