// SPDX-License-Identifier: MIT
#include "Discovery/Rating.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quillbrook {
namespace {

struct Row {
  std::string_view rawValue;
  std::string_view word;
  std::string_view symbol;
};

// By the cases in their order.
constexpr std::array<Row, 5> rows{{
    {"excellent", "強", "◎"},
    {"good", "中", "○"},
    {"marginal", "弱", "△"},
    {"unsuitable", "なし", "×"},
    {"unknown", "不明", "?"},
}};

const Row& rowOf(Rating rating) {
  return rows[static_cast<std::size_t>(rating)];
}

}  // namespace

std::string_view rawValue(Rating rating) {
  return rowOf(rating).rawValue;
}

std::optional<Rating> ratingOf(std::string_view rawValue) {
  const auto found = std::ranges::find(rows, rawValue, &Row::rawValue);
  if (found == rows.end()) return std::nullopt;
  return static_cast<Rating>(found - rows.begin());
}

std::string_view word(Rating rating) {
  return rowOf(rating).word;
}

std::string_view symbol(Rating rating) {
  return rowOf(rating).symbol;
}

}  // namespace quillbrook
