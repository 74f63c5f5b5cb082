// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Platform/FilePath.h"

// Names and messages as they are shown.
namespace quillbrook::PathText {

// For a terminal: control characters, and those that turn the direction of writing, are spelled out as \n, \x1B or
// \u{9B}, and a backslash is doubled, so that a name can neither steer the terminal nor pass for another one.
// For anything else: the bytes themselves, so that they can be used.
[[nodiscard]] std::string shown(const FilePath& path, bool onTerminal);

// A message that names may be part of: as above, but line feeds and backslashes stay.
[[nodiscard]] std::string shownMessage(std::string_view message, bool onTerminal);

}  // namespace quillbrook::PathText
