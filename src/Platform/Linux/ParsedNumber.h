// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace quillbrook {

// The number that `text` spells from its first to its last character, without a prefix; nothing for anything else.
template <typename Number>
[[nodiscard]] std::optional<Number> parsedNumber(std::string_view text, int base = 10) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

}  // namespace quillbrook
