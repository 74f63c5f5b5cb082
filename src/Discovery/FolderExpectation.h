// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "Discovery/StarString.h"

namespace quillbrook {

// Index is stars, value the number of files below a folder that have as many.
using StarsHistogram = std::array<std::uint64_t, maximumStars + 1>;

// How much a folder's files are likely to shrink, taken together.
struct FolderExpectation {
  int stars = 0;        // 0 to 5: the mean of the files', halves rounded up
  std::string tooltip;  // a heading, and one line for each number of stars that a file has
  friend bool operator==(const FolderExpectation&, const FolderExpectation&) = default;

  // Nothing for a folder without files.
  [[nodiscard]] static std::optional<FolderExpectation> of(const StarsHistogram& histogram);
};

}  // namespace quillbrook
