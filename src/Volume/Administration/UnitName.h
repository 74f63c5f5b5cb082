// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Platform/FilePath.h"

// The names of the systemd user units that mount volumes at login. Any thread.
namespace quillbrook::UnitName {

// The file of the one unit that all folders share.
inline constexpr std::string_view templateFile = "quillbrook-volume@.service";

// systemd.unit(5), "String escaping for inclusion in unit names", for an absolute path: "/home/a-b" is "home-a\x2db".
[[nodiscard]] std::string escapedPath(const FilePath& folder);

// "quillbrook-volume@home-a\x2db.service".
[[nodiscard]] std::string ofFolder(const FilePath& folder);

// Whether a file's name is that of some folder's unit.
[[nodiscard]] bool isOfFolder(std::string_view name);

}  // namespace quillbrook::UnitName
