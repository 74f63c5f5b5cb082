// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quillbrook {

// How much compressing is likely to gain.
enum class Rating : std::uint8_t { excellent, good, marginal, unsuitable, unknown };

// The case's name, as "excellent".
[[nodiscard]] std::string_view rawValue(Rating rating);
// Nothing for what is no case's name.
[[nodiscard]] std::optional<Rating> ratingOf(std::string_view rawValue);
// What the user reads: "強", and in a narrow place "◎".
[[nodiscard]] std::string_view word(Rating rating);
[[nodiscard]] std::string_view symbol(Rating rating);

}  // namespace quillbrook
