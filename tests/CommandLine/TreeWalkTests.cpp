// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "CommandLine/TreeWalk.h"
#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

class Notes final : public TreeVisitor {
 public:
  bool visit(TreeFile file) override {
    files.push_back(file.path.bytes() + (file.isNamed ? " (named)" : ""));
    return files.size() < limit;
  }
  void unreadable(const FilePath& folder, ErrorNumber error) override {
    problems.push_back(folder.bytes() + ": " + error.text());
  }
  void otherFileSystem(const FilePath& folder) override { foreign.push_back(folder.bytes()); }

  std::vector<std::string> files;
  std::vector<std::string> problems;
  std::vector<std::string> foreign;
  std::size_t limit = 1'000;
};

using Strings = std::vector<std::string>;

class TreeWalkTest : public CommandLineTest {
 protected:
  bool walk(const std::string& root) { return TreeWalk::walk(FilePath(root), tree, openDirectory, notes); }
  Notes notes;
};

TEST_F(TreeWalkTest, FilesOfAFolderComeBeforeItsSubfoldersAndOnlyRegularOnes) {
  tree.put("/r/sub/deep/z", "z");
  tree.put("/r/b", "b");
  tree.put("/r/sub/c", "c");
  tree.enter(FilePath("/r/link"), FileKind::symbolicLink);
  tree.enter(FilePath("/r/fifo"), FileKind::other);
  tree.put("/r/b.slimtmp", "being made by another worker");
  tree.put("/r/.b.slimtmp", "the same");
  tree.put("/r/slimtmp", "nothing special");
  EXPECT_TRUE(walk("/r"));
  EXPECT_EQ(notes.files, (Strings{"/r/b", "/r/slimtmp", "/r/sub/c", "/r/sub/deep/z"}));
  EXPECT_TRUE(notes.problems.empty());
}

TEST_F(TreeWalkTest, WhatIsNamedComesWhateverItIs) {
  tree.put("/r/b.slimtmp", "b");
  tree.put("/r/link", "l").status.kind = FileKind::symbolicLink;
  for (const char* root : {"/r/b.slimtmp", "/r/link", "/r/missing"}) EXPECT_TRUE(walk(root));
  EXPECT_EQ(notes.files, (Strings{"/r/b.slimtmp (named)", "/r/link (named)", "/r/missing (named)"}));
}

TEST_F(TreeWalkTest, AnUnreadableFolderIsToldAndTheRestIsWalked) {
  tree.put("/r/a/1", "1");
  tree.put("/r/b/2", "2");
  tree.put("/r/c/3", "3");
  tree.unreadable[FilePath("/r/b")] = ErrorNumber{13};
  EXPECT_TRUE(walk("/r"));
  EXPECT_EQ(notes.files.size(), 2U);
  EXPECT_EQ(notes.problems, (Strings{"/r/b: Permission denied"}));
}

TEST_F(TreeWalkTest, AFolderThatVanishedMeanwhileIsNoFailureButTheRootIs) {
  tree.put("/r/a/1", "1");
  tree.unreadable[FilePath("/r/a")] = ErrorNumber::noEntry;
  EXPECT_TRUE(walk("/r"));
  EXPECT_TRUE(notes.problems.empty());
  tree.unreadable[FilePath("/r")] = ErrorNumber::noEntry;
  EXPECT_TRUE(walk("/r"));
  EXPECT_EQ(notes.problems.size(), 1U);
}

TEST_F(TreeWalkTest, AReadErrorInTheMiddleIsNotTakenForTheEnd) {
  class Broken final : public DirectoryReader {
   public:
    [[nodiscard]] std::uint64_t device() const override { return 1; }
    Result<std::optional<DirectoryEntry>> next() override {
      if (given_) return std::unexpected(ErrorNumber::inputOutput);
      given_ = true;
      return DirectoryEntry{"first", FileKind::regular};
    }

   private:
    bool given_ = false;
  };
  tree.put("/r/first", "1");
  EXPECT_TRUE(TreeWalk::walk(
      FilePath("/r"), tree,
      [](const FilePath&) -> Result<std::unique_ptr<DirectoryReader>> { return std::make_unique<Broken>(); }, notes));
  EXPECT_EQ(notes.files, (Strings{"/r/first"}));
  EXPECT_EQ(notes.problems, (Strings{"/r: Input/output error"}));
}

TEST_F(TreeWalkTest, OtherFileSystemsAreNotEntered) {
  tree.put("/r/mounted/1", "1");
  tree.put("/r/own/2", "2");
  tree.devices[FilePath("/r/mounted")] = 2;
  EXPECT_TRUE(walk("/r"));
  EXPECT_EQ(notes.files, (Strings{"/r/own/2"}));
  EXPECT_EQ(notes.foreign, (Strings{"/r/mounted"}));
}

TEST_F(TreeWalkTest, TheVisitorCanStopIt) {
  for (int i = 0; i < 5; ++i) tree.put("/r/" + std::to_string(i), "x");
  notes.limit = 2;
  EXPECT_FALSE(walk("/r"));
  EXPECT_EQ(notes.files.size(), 2U);
}

}  // namespace
}  // namespace quillbrook
