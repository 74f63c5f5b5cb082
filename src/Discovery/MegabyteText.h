// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// Sizes as people type them.
namespace quillbrook::MegabyteText {

// "1.5", in megabytes of 1,000,000 bytes, is 1,500,000; blanks around it are ignored. Nothing for what is no number or
// a negative one, and so for an empty field. More than 64 bits hold is taken as the most that they do.
[[nodiscard]] std::optional<std::uint64_t> bytes(std::string_view text);

}  // namespace quillbrook::MegabyteText
