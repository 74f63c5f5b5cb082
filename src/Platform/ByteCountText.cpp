// SPDX-License-Identifier: MIT
#include "Platform/ByteCountText.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace quillbrook {
namespace {

struct Unit {
  std::string_view name;
  std::int64_t byteCount;
  int decimals;
};
constexpr std::array<Unit, 6> units{{{"KB", 1'000, 0},
                                     {"MB", 1'000'000, 1},
                                     {"GB", 1'000'000'000, 2},
                                     {"TB", 1'000'000'000'000, 2},
                                     {"PB", 1'000'000'000'000'000, 2},
                                     {"EB", 1'000'000'000'000'000'000, 2}}};

constexpr std::int64_t scaleOf(const Unit& unit) {
  constexpr std::array<std::int64_t, 3> scales{1, 10, 100};
  return scales.at(static_cast<std::size_t>(unit.decimals));
}

// In steps of the unit's last decimal.
std::int64_t rounded(std::int64_t byteCount, const Unit& unit) {
  const std::int64_t step = unit.byteCount / scaleOf(unit);
  const std::int64_t whole = byteCount / step;
  const std::int64_t rest = byteCount % step;
  const bool isUp = rest > step - rest || (rest == step - rest && whole % 2 != 0);
  return whole + (isUp ? 1 : 0);
}

}  // namespace

std::string ByteCountText::fileStyle(std::int64_t byteCount) {
  if (byteCount < units.front().byteCount) return std::to_string(byteCount) + " B";
  std::size_t index = 0;
  // What rounds to a thousand of a unit is one of the next.
  while (index + 1 < units.size() && rounded(byteCount, units[index]) >= 1'000 * scaleOf(units[index])) ++index;
  const Unit& unit = units[index];
  const std::int64_t steps = rounded(byteCount, unit);
  std::string text = std::to_string(steps / scaleOf(unit));
  if (const std::int64_t fraction = steps % scaleOf(unit); fraction != 0) {
    std::string digits = std::to_string(scaleOf(unit) + fraction).substr(1);
    digits.erase(digits.find_last_not_of('0') + 1);
    text += "." + digits;
  }
  return text + " " + std::string(unit.name);
}

}  // namespace quillbrook
