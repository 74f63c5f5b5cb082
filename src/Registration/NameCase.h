// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

// Upper and lower case in file names, which are bytes.
namespace quillbrook::NameCase {

// In lower case by Unicode's rules, the same in every locale. Of a name that is not UTF-8 only the ASCII letters
// change.
[[nodiscard]] std::string lowercased(std::string_view name);

}  // namespace quillbrook::NameCase
