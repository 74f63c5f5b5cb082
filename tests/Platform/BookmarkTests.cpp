// SPDX-License-Identifier: MIT
#include "Platform/Bookmark.h"
#include "Support/OrdinaryUser.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

using Bytes = std::vector<std::uint8_t>;

class BookmarkTest : public testing::Test {
 protected:
  void SetUp() override {
    tree_.write("folder/file", "content");
    bookmark_ = Bookmark::create(file_).value();
  }
  // Where it leads, beneath the tree, with "stale" if so; else the error.
  [[nodiscard]] std::string resolved() const {
    const auto found = Bookmark::resolve(bookmark_);
    if (!found) return found.error().text();
    return found->url.bytes().substr(tree_.folder().bytes().size() + 1) + (found->isStale ? " stale" : "");
  }
  void rename(const char* from, const char* to) const { std::filesystem::rename(tree_.at(from), tree_.at(to)); }

  const ScratchFolder tree_;
  const FilePath file_ = tree_.path("folder/file");
  Bytes bookmark_;
};

TEST_F(BookmarkTest, FollowsAFileThatGetsAnotherName) {
  EXPECT_EQ(resolved(), "folder/file");
  rename("folder/file", "folder/\xff other\n");
  EXPECT_EQ(resolved(), "folder/\xff other\n stale");
  tree_.makeFolder("elsewhere/deep");
  rename("folder/\xff other\n", "elsewhere/deep/moved");
  if (geteuid() == 0) {
    EXPECT_EQ(resolved(), "elsewhere/deep/moved stale");
    std::filesystem::remove_all(tree_.at("folder"));
    EXPECT_EQ(resolved(), "elsewhere/deep/moved stale");
    // As after a start of the machine: the kernel has the inode, and no name of it yet.
    sync();
    if (std::ofstream("/proc/sys/vm/drop_caches") << "2" << std::flush) {
      EXPECT_EQ(resolved(), "elsewhere/deep/moved stale");
    } else {
      std::cout << "SKIPPED: the kernel's names cannot be dropped here\n";
    }
  } else {
    std::cout << "SKIPPED: only root may ask for a file by its handle\n";
  }
  EXPECT_EQ(::chmod(tree_.folder().c_str(), 0755), 0);
  const OrdinaryUser user;
  if (user.isOrdinary()) {
    EXPECT_EQ(resolved(), ErrorNumber::noEntry.text()) << "who may not use handles";
  }
}

TEST_F(BookmarkTest, WhatStandsAtThePathCounts) {
  tree_.write("folder/new", "compressed, say");
  rename("folder/new", "folder/file");
  EXPECT_EQ(resolved(), "folder/file stale");
  std::filesystem::remove(file_.bytes());
  EXPECT_EQ(resolved(), ErrorNumber::noEntry.text());
}

// Its number is used again at once on many file systems, by a file that was born later.
TEST_F(BookmarkTest, NeverLeadsToAnotherFile) {
  struct stat before{};
  ASSERT_EQ(stat(file_.c_str(), &before), 0);
  std::filesystem::remove(file_.bytes());
  bool isReused = false;
  for (int i = 0; i < 200 && !isReused; ++i) {
    const std::string name = "folder/later" + std::to_string(i);
    tree_.write(name, "other");
    struct stat later{};
    ASSERT_EQ(stat(tree_.at(name).c_str(), &later), 0);
    isReused = later.st_ino == before.st_ino;
  }
  if (!isReused) std::cout << "SKIPPED: this file system does not use numbers again so soon\n";
  EXPECT_EQ(resolved(), ErrorNumber::noEntry.text());
}

TEST_F(BookmarkTest, RefusesWhatIsNone) {
  EXPECT_EQ(Bookmark::create(FilePath("relative")).error(), ErrorNumber::invalid);
  EXPECT_EQ(Bookmark::create(tree_.path("missing")).error(), ErrorNumber::noEntry);
  for (std::size_t length = 0; length < bookmark_.size(); ++length) {
    const auto found = Bookmark::resolve(std::span(bookmark_).first(length));
    ASSERT_FALSE(found) << length;
    EXPECT_EQ(found.error(), ErrorNumber::invalid) << length;
  }
  for (std::size_t at = 0; at < 44; ++at) {
    Bytes spoiled = bookmark_;
    spoiled[at] ^= 0x80U;
    const auto found = Bookmark::resolve(spoiled);
    EXPECT_TRUE(!found || found->url == file_) << at;
  }
}

}  // namespace
}  // namespace quillbrook
