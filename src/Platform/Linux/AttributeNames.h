// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The platform's names of extended attributes and the host's. "user.X" here is "X" there, unless X begins with "user.",
// "system.", "security." or "trusted."; those, and the other namespaces, keep their full name.
// Access lists (system.posix_acl_*, on xfs trusted.SGI_ACL_* too) and user.quillbrook.* are not attributes to the
// platform at all.
namespace quillbrook::AttributeNames {

// Nothing for a name that no host attribute can have, or that is not an attribute to the platform.
[[nodiscard]] std::optional<std::string> hostName(std::string_view platformName);

// Nothing for what the platform does not list.
[[nodiscard]] std::optional<std::string_view> platformName(std::string_view hostName);

// Whether a host attribute is an access list, which is copied as such.
[[nodiscard]] bool isAccessList(std::string_view hostName);

// Whether a program may neither see nor change this host attribute through a volume either.
[[nodiscard]] bool isOurs(std::string_view hostName);

}  // namespace quillbrook::AttributeNames
