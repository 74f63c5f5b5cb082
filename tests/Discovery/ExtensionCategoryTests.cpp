// SPDX-License-Identifier: MIT

#include "Discovery/ExtensionCategory.h"
#include "Discovery/FolderExpectation.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

using enum ExtensionCategory;

TEST(ExtensionCategory, IsToldByTheExtension) {
  const std::vector<std::pair<ExtensionCategory, std::string>> table{
      {text, "txt md json xml csv log html svg"},
      {sourceCode, "swift py js ts c h go rs"},
      {binaryExecutable, "dylib framework app"},
      {graphicSource, "psd ai sketch"},
      {compoundCompressed, "pdf docx xlsx pptx epub"},
      {uncompressedMedia, "jpg png heic mp4 mov mp3 m4a"},
      {uncompressedArchive, "zip 7z dmg pkg gz xz br"},
      {text, ".JSON ..json TXT"},
      {unknown, ". ... jpeg tiff tar rtf tar.gz json. \xFF"},
  };
  for (const auto& [category, extensions] : table) {
    std::istringstream words(extensions);
    for (std::string word; words >> word;) EXPECT_EQ(categoryForExtension(word), category) << word;
  }
  EXPECT_EQ(categoryForExtension(""), unknown);
  EXPECT_EQ(normalizedExtension("..A.B"), "a.b");
}

TEST(ExtensionCategory, TellsWhatToExpect) {
  std::string table;
  for (const ExtensionCategory category : allExtensionCategories) {
    const Rating rating = ratingForCategory(category);
    table += tooltipForCategory(category) + " " + std::to_string(starsForCategory(category)) + " " +
             std::string(rawValue(rating)) + " " + std::string(word(rating)) + std::string(symbol(rating)) + "\n";
  }
  EXPECT_EQ(table,
            "テキスト系 — 60〜90% 圧縮されます 5 excellent 強◎\n"
            "ソースコード — 60〜80% 圧縮されます 5 excellent 強◎\n"
            "実行ファイル / バイナリ — 30〜50% 圧縮されます 4 good 中○\n"
            "グラフィック原本 — 30〜70% 圧縮の可能性（実測推奨） 3 good 中○\n"
            "圧縮済みドキュメント — 0〜10% しか縮みません 2 marginal 弱△\n"
            "圧縮済みメディア — ほぼ縮みません（既圧縮メディア） 1 unsuitable なし×\n"
            "圧縮済みアーカイブ — ほぼ縮みません（既圧縮アーカイブ） 1 unsuitable なし×\n"
            "不明 — 圧縮率は不明 0 unknown 不明?\n");
  EXPECT_EQ(ratingOf("unsuitable"), Rating::unsuitable);
  EXPECT_EQ(ratingOf("Good"), std::nullopt);
}

TEST(StarString, AlwaysHasFiveSymbols) {
  for (const auto& [count, stars] : std::vector<std::pair<int, std::string>>{
           {-1, "☆☆☆☆☆"}, {0, "☆☆☆☆☆"}, {3, "★★★☆☆"}, {5, "★★★★★"}, {7, "★★★★★"}}) {
    EXPECT_EQ(starString(count), stars) << count;
  }
}

TEST(FolderExpectation, IsTheMeanOfTheFiles) {
  const std::string heading = "配下ファイルの期待度（加重平均）\n";
  const std::vector<std::tuple<StarsHistogram, int, std::string>> cases{
      {{0, 0, 1, 0, 0, 1}, 4, heading + "★★★★★: 1 件\n★★☆☆☆: 1 件"},  // 3.5
      {{1, 0, 0, 0, 0, 2}, 3, heading + "★★★★★: 2 件\n☆☆☆☆☆: 1 件"},  // 10 / 3
      {{1, 1}, 1, heading + "★☆☆☆☆: 1 件\n☆☆☆☆☆: 1 件"},              // 0.5
      {{1'234}, 0, heading + "☆☆☆☆☆: 1234 件"},
  };
  for (const auto& [histogram, stars, tooltip] : cases) {
    EXPECT_EQ(FolderExpectation::of(histogram), (FolderExpectation{stars, tooltip}));
  }
  EXPECT_EQ(FolderExpectation::of({}), std::nullopt);
}

}  // namespace
}  // namespace quillbrook
