// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace quillbrook::CommandLineHelp {

// The answer to --help, with a line feed at its end.
extern const std::string_view text;

}  // namespace quillbrook::CommandLineHelp
