// SPDX-License-Identifier: MIT

#include "Discovery/FileSystemSearcher.h"
#include "Platform/StatFlags.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "Support/Prelude.h"
#include "Support/ScriptedTree.h"

namespace quillbrook {
namespace {

using Strings = std::vector<std::string>;

TEST(ExtensionFilter, HoldsNormalisedExtensions) {
  const auto filter = ExtensionFilter::includeOnly(Strings{"JPG", ".Jpg", "", "..."});
  EXPECT_EQ(filter, ExtensionFilter::includeOnly(Strings{"jpg"}));
  EXPECT_NE(filter, ExtensionFilter::exclude(Strings{"jpg"}));
  EXPECT_NE(filter, ExtensionFilter::includeOnly(Strings{"png"}));
}

TEST(SearchCriteria, EveryConditionCanFailAlone) {
  const FileCandidate file{.url = FilePath("/x.d/a.JPG"),
                           .size = 100,
                           .modificationDate = {50, 5},
                           .isHidden = false,
                           .isAlreadyCompressed = false};
  const FileCandidate bare{.url = FilePath("/x.d/a"), .isHidden = true, .isAlreadyCompressed = true};
  const auto include = ExtensionFilter::includeOnly(Strings{"jpg"});
  const auto exclude = ExtensionFilter::exclude(Strings{"jpg"});
  const std::vector<std::tuple<std::string, SearchCriteria, FileCandidate, bool>> cases{
      {"no condition", {}, bare, true},
      {"changed at the instant", {.modifiedBefore = Timestamp{50, 5}}, file, true},
      {"changed later", {.modifiedBefore = Timestamp{50, 4}}, file, false},
      {"as large as the least", {.minSize = 100}, file, true},
      {"smaller", {.minSize = 101}, file, false},
      {"as large as the most", {.maxSize = 100}, file, true},
      {"larger", {.maxSize = 99}, file, false},
      {"included", {.extensionFilter = include}, file, true},
      {"included, none", {.extensionFilter = include}, bare, false},
      {"excluded", {.extensionFilter = exclude}, file, false},
      {"excluded, none", {.extensionFilter = exclude}, bare, true},
      {"not compressed", {.excludeAlreadyCompressed = true}, file, true},
      {"compressed", {.excludeAlreadyCompressed = true}, bare, false},
      {"not hidden", {.excludeHidden = true}, file, true},
      {"hidden", {.excludeHidden = true}, bare, false},
  };
  for (const auto& [what, criteria, candidate, expected] : cases) {
    EXPECT_EQ(criteria.matches(candidate), expected) << what;
  }
}

// One search, and what it told meanwhile.
struct Search {
  explicit Search(const ScriptedTree& scripted) : tree(scripted) {}
  // The names below the root, or the failure.
  std::string run() {
    const auto result = searcher.search(
        criteria, stop.get_token(),
        [&](const FileCandidate& match) {
          told.push_back(match);
          if (told.size() == stopAfter) stop.request_stop();
        },
        [&](const SearchProgress& now) { progress.push_back(now); }, tree.opener());
    if (!result) return describe(result.error());
    EXPECT_EQ(*result, told);
    std::string names;
    for (const FileCandidate& match : *result) names += match.url.bytes().substr(6) + " ";
    return names;
  }
  const ScriptedTree& tree;
  FileSystemSearcher searcher{.compressionChecker = [](const auto&, const auto&) { return false; }};
  SearchCriteria criteria{.rootURL = FilePath("/root")};
  std::stop_source stop;
  std::size_t stopAfter = 0;
  std::vector<FileCandidate> told;
  std::vector<SearchProgress> progress;
};

TEST(FileSystemSearcher, ListsRegularFilesOutsideOfPackages) {
  ScriptedTree tree;
  tree.folder("Bar.xcarchive").folder("Bar.xcarchive/App.app").file("Bar.xcarchive/App.app/binary");
  tree.folder("Foo.app").file("Foo.app/Info").file("a").file("a.slimtmp").link("link").vanishingFile("gone");
  tree.folder("sub.slimtmp").file("sub.slimtmp/.deep");
  Search all(tree);
  EXPECT_EQ(all.run(), "Bar.xcarchive/App.app/binary a sub.slimtmp/.deep ");
  EXPECT_EQ(all.progress, (std::vector<SearchProgress>{{8, 3}}));
  Search direct(tree);
  direct.criteria.recursive = false;
  EXPECT_EQ(direct.run(), "a ");
  EXPECT_EQ(direct.progress, (std::vector<SearchProgress>{{5, 1}}));
}

TEST(FileSystemSearcher, TellsWhatTheWalkKnowsOfAFile) {
  ScriptedTree tree;
  tree.file(".h", 7, {50, 5}, UF_COMPRESSED).file("sub/.x/a", -1);
  Search search(tree);
  Strings asked;
  search.searcher.compressionChecker = [&](const FilePath& url, const FileStatus& status) {
    asked.push_back(url.bytes());
    return status.st_flags == UF_COMPRESSED;
  };
  search.criteria.maxSize = 5;
  search.run();
  EXPECT_EQ(search.told, (std::vector<FileCandidate>{{FilePath("/root/sub/.x/a"), 0, {}, false, false}}));
  EXPECT_EQ(asked, (Strings{"/root/.h", "/root/sub/.x/a"})) << "the checker is asked whatever the size is";
  search.criteria.maxSize.reset();
  search.told.clear();
  search.run();
  EXPECT_EQ(search.told.front(), (FileCandidate{FilePath("/root/.h"), 7, {50, 5}, true, true}));
}

TEST(FileSystemSearcher, TellsItsProgressEveryHundredEntries) {
  ScriptedTree tree;
  for (int i = 0; i < 200; ++i) tree.file(std::to_string(i), i % 2);
  Search search(tree);
  search.criteria.minSize = 1;
  search.run();
  EXPECT_EQ(search.progress, (std::vector<SearchProgress>{{100, 50}, {200, 100}, {200, 100}}));
  for (int i = 0; i < 50; ++i) tree.folder("folder" + std::to_string(i));
  search.told.clear();
  search.run();
  EXPECT_EQ(search.progress.back(), (SearchProgress{250, 100}));
  EXPECT_EQ(search.progress.size(), 6U);
}

TEST(FileSystemSearcher, TellsWhyItFails) {
  ScriptedTree tree;
  tree.file("a").file("b").file("c");
  Search stopped(tree);
  stopped.stopAfter = 2;
  EXPECT_EQ(stopped.run(), "cancelled");
  EXPECT_EQ(stopped.told.size(), 2U) << "what was found stays told";
  for (const auto& [error, described, words] : std::vector<std::tuple<ErrorNumber, std::string, std::string>>{
           {ErrorNumber::noEntry, "rootNotFound(/root)", "フォルダが見つかりません: /root"},
           {{ENOTDIR}, "rootNotADirectory(/root)", "フォルダではないか、開くことができません: /root"}}) {
    tree.failure = error;
    EXPECT_EQ(Search(tree).run(), described);
    const auto result = FileSystemSearcher{}.search({.rootURL = FilePath("/root")}, {}, {}, {}, tree.opener());
    EXPECT_EQ(userText(result.error()), words);
  }
}

TEST(FileSystemSearcher, StandardCheckerInspectsOnlyFlaggedFiles) {
  MemoryFileSystem memory;
  const FilePath url("/a");
  auto& node = memory.put(url, MemoryFileSystem::Bytes(9'000));
  FaultyFileSystem counting(memory, nullptr);
  const auto isCompressed = FileSystemSearcher::standardCompressionChecker(counting);
  EXPECT_FALSE(isCompressed(url, *memory.lstat(url)));
  EXPECT_TRUE(counting.calls().empty()) << "looked at twice";
  node.status.st_flags = UF_COMPRESSED;
  EXPECT_FALSE(isCompressed(url, *memory.lstat(url))) << "without a header it cannot be inspected";
  const auto header = [&](std::uint8_t type) {
    return MemoryFileSystem::Bytes{'f', 'p', 'm', 'c', type, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0};
  };
  node.attributes[std::string(ReservedNames::decmpfs)] = header(11);
  EXPECT_TRUE(isCompressed(url, *memory.lstat(url)));
  node.attributes[std::string(ReservedNames::decmpfs)] = header(2);
  EXPECT_FALSE(isCompressed(url, *memory.lstat(url))) << "of no known type";
}

}  // namespace
}  // namespace quillbrook
