// SPDX-License-Identifier: MIT
#include "Discovery/ExtensionCategory.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <unordered_map>

#include "Registration/NameCase.h"

namespace quillbrook {
namespace {

using namespace std::string_view_literals;

constexpr std::array text{"txt"sv, "md"sv, "json"sv, "xml"sv, "csv"sv, "log"sv, "html"sv, "svg"sv};
constexpr std::array sourceCode{"swift"sv, "py"sv, "js"sv, "ts"sv, "c"sv, "h"sv, "go"sv, "rs"sv};
constexpr std::array binaryExecutable{"dylib"sv, "framework"sv, "app"sv};
constexpr std::array graphicSource{"psd"sv, "ai"sv, "sketch"sv};
constexpr std::array compoundCompressed{"pdf"sv, "docx"sv, "xlsx"sv, "pptx"sv, "epub"sv};
constexpr std::array uncompressedMedia{"jpg"sv, "png"sv, "heic"sv, "mp4"sv, "mov"sv, "mp3"sv, "m4a"sv};
constexpr std::array uncompressedArchive{"zip"sv, "7z"sv, "dmg"sv, "pkg"sv, "gz"sv, "xz"sv, "br"sv};

struct Row {
  std::string_view label;
  Rating rating;
  int stars;
  std::string_view expectation;
  std::span<const std::string_view> extensions;
};

// By the categories in their order.
constexpr std::array<Row, allExtensionCategories.size()> rows{{
    {"テキスト系", Rating::excellent, 5, "60〜90% 圧縮されます", text},
    {"ソースコード", Rating::excellent, 5, "60〜80% 圧縮されます", sourceCode},
    {"実行ファイル / バイナリ", Rating::good, 4, "30〜50% 圧縮されます", binaryExecutable},
    {"グラフィック原本", Rating::good, 3, "30〜70% 圧縮の可能性（実測推奨）", graphicSource},
    {"圧縮済みドキュメント", Rating::marginal, 2, "0〜10% しか縮みません", compoundCompressed},
    {"圧縮済みメディア", Rating::unsuitable, 1, "ほぼ縮みません（既圧縮メディア）", uncompressedMedia},
    {"圧縮済みアーカイブ", Rating::unsuitable, 1, "ほぼ縮みません（既圧縮アーカイブ）", uncompressedArchive},
    {"不明", Rating::unknown, 0, "圧縮率は不明", {}},
}};

const Row& rowOf(ExtensionCategory category) {
  return rows[static_cast<std::size_t>(category)];
}

using Categories = std::unordered_map<std::string_view, ExtensionCategory>;

Categories categoriesByExtension() {
  Categories categories;
  for (const ExtensionCategory category : allExtensionCategories) {
    for (const std::string_view extension : rowOf(category).extensions) categories.emplace(extension, category);
  }
  return categories;
}

}  // namespace

std::string normalizedExtension(std::string_view extension) {
  extension.remove_prefix(std::min(extension.find_first_not_of('.'), extension.size()));
  return NameCase::lowercased(extension);
}

ExtensionCategory categoryForExtension(std::string_view extension) {
  static const Categories categories = categoriesByExtension();
  const auto found = categories.find(normalizedExtension(extension));
  return found == categories.end() ? ExtensionCategory::unknown : found->second;
}

Rating ratingForCategory(ExtensionCategory category) {
  return rowOf(category).rating;
}

int starsForCategory(ExtensionCategory category) {
  return rowOf(category).stars;
}

std::string_view labelForCategory(ExtensionCategory category) {
  return rowOf(category).label;
}

std::string_view expectationForCategory(ExtensionCategory category) {
  return rowOf(category).expectation;
}

std::string tooltipForCategory(ExtensionCategory category) {
  return std::string(labelForCategory(category)) + " — " + std::string(expectationForCategory(category));
}

}  // namespace quillbrook
