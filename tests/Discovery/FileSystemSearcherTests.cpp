// SPDX-License-Identifier: MIT

#include "Compression/FileCompressor.h"
#include "Discovery/FileSystemSearcher.h"
#include "Platform/StatFlags.h"
#include "Support/CompressingFileSystem.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "Support/ScratchFolder.h"

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
  const FilePath root("/");
  const auto include = ExtensionFilter::includeOnly(Strings{"jpg"});
  const auto exclude = ExtensionFilter::exclude(Strings{"jpg"});
  const std::vector<std::tuple<std::string, SearchCriteria, FileCandidate, bool>> cases{
      {"no condition", {}, bare, true},
      {"changed at the instant", {.rootURL = root, .modifiedBefore = Timestamp{50, 5}}, file, true},
      {"changed later", {.rootURL = root, .modifiedBefore = Timestamp{50, 4}}, file, false},
      {"as large as the least", {.rootURL = root, .minSize = 100}, file, true},
      {"smaller", {.rootURL = root, .minSize = 101}, file, false},
      {"as large as the most", {.rootURL = root, .maxSize = 100}, file, true},
      {"larger", {.rootURL = root, .maxSize = 99}, file, false},
      {"included", {.rootURL = root, .extensionFilter = include}, file, true},
      {"included, none", {.rootURL = root, .extensionFilter = include}, bare, false},
      {"excluded", {.rootURL = root, .extensionFilter = exclude}, file, false},
      {"excluded, none", {.rootURL = root, .extensionFilter = exclude}, bare, true},
      {"not compressed", {.rootURL = root, .excludeAlreadyCompressed = true}, file, true},
      {"compressed", {.rootURL = root, .excludeAlreadyCompressed = true}, bare, false},
      {"not hidden", {.rootURL = root, .excludeHidden = true}, file, true},
      {"hidden", {.rootURL = root, .excludeHidden = true}, bare, false},
  };
  for (const auto& [what, criteria, candidate, expected] : cases) {
    EXPECT_EQ(criteria.matches(candidate), expected) << what;
  }
}

class FileSystemSearcherTest : public testing::Test {
 protected:
  // The names below the folder, or the failure without its payload.
  std::string search(const FileSystemSearcher& searcher = {}) {
    told_.clear();
    progress_.clear();
    const auto result = searcher.search(
        criteria_, stop_.get_token(),
        [&](const FileCandidate& match) {
          told_.push_back(match);
          if (onMatch_) onMatch_();
        },
        [&](const SearchProgress& now) { progress_.push_back(now); });
    if (!result) return std::string(caseName(result.error()));
    EXPECT_EQ(*result, told_);
    std::string names;
    for (const FileCandidate& match : *result) {
      names += match.url.bytes().substr(criteria_.rootURL.bytes().size() + 1) + " ";
    }
    return names;
  }

  const ScratchFolder tree_;
  SearchCriteria criteria_{.rootURL = tree_.folder()};
  std::stop_source stop_;
  std::function<void()> onMatch_;
  std::vector<FileCandidate> told_;
  std::vector<SearchProgress> progress_;
};

TEST_F(FileSystemSearcherTest, ListsRegularFilesOutsideOfPackages) {
  for (const char* name : {"Bar.xcarchive/App.app/binary", "Foo.app/Info", "a", "a.slimtmp", "gone", "s.slimtmp/.deep",
                           "s.slimtmp/vanishing", "z"}) {
    tree_.write(name, "x");
  }
  std::filesystem::create_symlink("a", tree_.at("link"));
  criteria_.recursive = false;
  EXPECT_EQ(search(), "a gone z ");
  EXPECT_EQ(progress_, (std::vector<SearchProgress>{{6, 3}})) << "of the packages one, a folder and a link too";
  criteria_.recursive = true;
  EXPECT_EQ(search(), "Bar.xcarchive/App.app/binary a gone s.slimtmp/.deep s.slimtmp/vanishing z ");
  onMatch_ = [&] { std::filesystem::remove(tree_.at("s.slimtmp/vanishing")); };
  EXPECT_EQ(search(), "Bar.xcarchive/App.app/binary a gone s.slimtmp/.deep z ");
}

TEST_F(FileSystemSearcherTest, TellsWhatTheWalkKnowsOfAFile) {
  const std::string content = ScratchFolder::prose(9'000);
  for (const char* name : {".compressed", "plain"}) tree_.write(name, content);
  ASSERT_TRUE(FileCompressor::compress(tree_.path(".compressed"), FileCompressor::defaultStreamingThreshold, nullptr,
                                       CompressingFileSystem::instance()));
  const Timestamp modified{1'700'000'000, 123};
  for (const char* name : {".compressed", "plain"}) {
    ASSERT_TRUE(FileSystem::native().setFileTimes(tree_.path(name), {}, modified));
  }
  search();
  EXPECT_EQ(told_, (std::vector<FileCandidate>{{tree_.path(".compressed"), 9'000, modified, true, true},
                                               {tree_.path("plain"), 9'000, modified, false, false}}));
  criteria_.maxSize = 1;
  std::size_t asked = 0;
  EXPECT_EQ(search({.compressionChecker = [&](const auto&, const FileStatus&) { return ++asked > 0; }}), "");
  EXPECT_EQ(asked, 2U) << "whatever the size is";
}

TEST_F(FileSystemSearcherTest, TellsItsProgressEveryHundredEntries) {
  for (int i = 0; i < 200; ++i) tree_.write(std::to_string(i), i % 2 == 0 ? "" : "x");
  criteria_.minSize = 1;
  search();
  ASSERT_EQ(progress_.size(), 3U);
  EXPECT_EQ(progress_[0].scanned, 100U);
  EXPECT_EQ(progress_[1], (SearchProgress{200, 100}));
  EXPECT_EQ(progress_[2], (SearchProgress{200, 100}));
  for (int i = 0; i < 50; ++i) tree_.makeFolder("folder" + std::to_string(i));
  search();
  ASSERT_EQ(progress_.size(), 3U);
  EXPECT_EQ(progress_[2], (SearchProgress{250, 100}));
}

TEST_F(FileSystemSearcherTest, TellsWhyItFails) {
  for (const char* name : {"a", "b", "c"}) tree_.write(name, "x");
  criteria_.rootURL = tree_.path("missing");
  EXPECT_EQ(search(), "rootNotFound");
  criteria_.rootURL = tree_.path("a");
  EXPECT_EQ(search(), "rootNotADirectory");
  criteria_.rootURL = tree_.folder();
  onMatch_ = [&] {
    if (told_.size() == 2) stop_.request_stop();
  };
  EXPECT_EQ(search(), "cancelled");
  EXPECT_EQ(told_.size(), 2U) << "what was found stays told";
  EXPECT_EQ(search(), "cancelled");
  EXPECT_TRUE(told_.empty());
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
  // A placeholder.
  node.attributes[std::string(ReservedNames::decmpfs)] = {'f', 'p', 'm', 'c', 1, 0, 0, 0x80, 9, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_FALSE(isCompressed(url, *memory.lstat(url))) << "its content is elsewhere";
}

}  // namespace
}  // namespace quillbrook
