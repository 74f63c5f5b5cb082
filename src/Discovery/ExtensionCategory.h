// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "Discovery/Rating.h"

namespace quillbrook {

// What kind of file an extension tells of, and so how much the file is likely to shrink. `uncompressedMedia` and
// `uncompressedArchive` are those that are compressed already. All functions: any thread.
enum class ExtensionCategory : std::uint8_t {
  text,
  sourceCode,
  binaryExecutable,
  graphicSource,
  compoundCompressed,
  uncompressedMedia,
  uncompressedArchive,
  unknown
};

inline constexpr std::array allExtensionCategories{
    ExtensionCategory::text,
    ExtensionCategory::sourceCode,
    ExtensionCategory::binaryExecutable,
    ExtensionCategory::graphicSource,
    ExtensionCategory::compoundCompressed,
    ExtensionCategory::uncompressedMedia,
    ExtensionCategory::uncompressedArchive,
    ExtensionCategory::unknown,
};

// Without leading dots, in lower case.
[[nodiscard]] std::string normalizedExtension(std::string_view extension);
// Normalises the extension first; `unknown` for one that is in no row of the table.
[[nodiscard]] ExtensionCategory categoryForExtension(std::string_view extension);

[[nodiscard]] Rating ratingForCategory(ExtensionCategory category);
// 0 to 5. A column of its own: categories of the same rating may differ in stars.
[[nodiscard]] int starsForCategory(ExtensionCategory category);
// What the user reads: the category, the reduction to expect, and both in one line.
[[nodiscard]] std::string_view labelForCategory(ExtensionCategory category);
[[nodiscard]] std::string_view expectationForCategory(ExtensionCategory category);
[[nodiscard]] std::string tooltipForCategory(ExtensionCategory category);

}  // namespace quillbrook
