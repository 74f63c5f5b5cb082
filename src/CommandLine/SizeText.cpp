// SPDX-License-Identifier: MIT
#include "CommandLine/SizeText.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace quillbrook::SizeText {

std::string text(std::int64_t byteCount) {
  static constexpr std::array<std::string_view, 7> units{"B", "kB", "MB", "GB", "TB", "PB", "EB"};
  if (byteCount > -1'000 && byteCount < 1'000) return fmt::format("{} B", byteCount);
  auto value = static_cast<double>(byteCount);
  std::size_t unit = 0;
  // A value that would be rounded up to 1000 takes the next unit already.
  while (std::abs(value) >= 999.5) {
    value /= 1'000;
    ++unit;
  }
  const double magnitude = std::abs(value);
  int decimals = 0;
  if (magnitude < 99.95) decimals = 1;
  if (magnitude < 9.995) decimals = 2;
  return fmt::format("{:.{}f} {}", value, decimals, units[unit]);
}

}  // namespace quillbrook::SizeText
