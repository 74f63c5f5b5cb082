// SPDX-License-Identifier: MIT
#include "Discovery/Rating.h"

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
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].rawValue == rawValue) return static_cast<Rating>(i);
  }
  return std::nullopt;
}

std::string_view word(Rating rating) {
  return rowOf(rating).word;
}

std::string_view symbol(Rating rating) {
  return rowOf(rating).symbol;
}

}  // namespace quillbrook
