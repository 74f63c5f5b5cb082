// SPDX-License-Identifier: MIT
#include "Platform/DirectoryEnumerator.h"
#include "Platform/FileSystem.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

using Depth = DirectoryEnumerator::Depth;
using Names = std::vector<std::string>;

class DirectoryEnumeratorTest : public testing::Test {
 protected:
  // What the walk gives, beneath the root, with its level. `onEntry` may change the tree, or leave a folder out.
  Names walk(
      Depth depth = Depth::recursive,
      const std::function<void(DirectoryEnumerator&, const std::string&)>& onEntry = [](auto&, const auto&) {}) {
    Names names;
    auto entries = DirectoryEnumerator::open(root_, depth);
    if (!entries) return {entries.error().text()};
    while (const auto entry = (*entries)->next()) {
      const std::string name = entry->path.bytes().substr(root_.bytes().size() + 1);
      names.push_back(std::to_string(entry->level) + " " + name + (entry->kind == FileKind::directory ? "/" : ""));
      onEntry(**entries, name);
    }
    EXPECT_FALSE((*entries)->takeOmission());
    return names;
  }

  const ScratchFolder tree_;
  FilePath root_ = tree_.path("root");
};

TEST_F(DirectoryEnumeratorTest, GoesDepthFirstInTheOrderOfBytes) {
  for (const char* name :
       {"root/b/c/d", "root/b/a", "root/b.x", "root/.hidden/e", "root/B", "root/\xff", "outside/x"}) {
    tree_.write(name, "x");
  }
  std::filesystem::create_directory_symlink(tree_.at("outside"), tree_.at("root/link"));
  tree_.makeFolder("root/empty");
  EXPECT_EQ(walk(), (Names{"1 .hidden/", "2 .hidden/e", "1 B", "1 b/", "2 b/a", "2 b/c/", "3 b/c/d", "1 b.x",
                           "1 empty/", "1 link", "1 \xff"}));
  EXPECT_EQ(walk(Depth::direct), (Names{"1 .hidden/", "1 B", "1 b/", "1 b.x", "1 empty/", "1 link", "1 \xff"}));
  EXPECT_EQ(walk(Depth::recursive,
                 [](DirectoryEnumerator& entries, const std::string& name) {
                   if (name == "b/c" || name == ".hidden" || name == "B") entries.skipDescendants();
                 }),
            (Names{"1 .hidden/", "1 B", "1 b/", "2 b/a", "2 b/c/", "1 b.x", "1 empty/", "1 link", "1 \xff"}));
}

TEST_F(DirectoryEnumeratorTest, ARootIsAFolderOrALinkToOne) {
  tree_.write("root/file", "x");
  std::filesystem::create_directory_symlink(root_.bytes(), tree_.at("link"));
  root_ = tree_.path("link");
  EXPECT_EQ(walk(), Names{"1 file"});
  root_ = tree_.path("root/file");
  EXPECT_EQ(walk(), Names{ErrorNumber{ENOTDIR}.text()});
  root_ = tree_.path("missing");
  EXPECT_EQ(walk(), Names{ErrorNumber::noEntry.text()});
}

// What is swapped for a link under the walk's feet leads nowhere else, and what vanishes is no failure.
TEST_F(DirectoryEnumeratorTest, StaysInsideWhateverHappens) {
  for (const char* name : {"root/a/x", "root/b/x", "root/c", "outside/secret"}) tree_.write(name, "x");
  const Names names = walk(Depth::recursive, [&](DirectoryEnumerator& entries, const std::string& name) {
    if (name == "a") {
      std::filesystem::rename(tree_.at("root/a"), tree_.at("moved"));
      std::filesystem::create_directory_symlink(tree_.at("outside"), tree_.at("root/a"));
    }
    if (name == "b") std::filesystem::remove_all(tree_.at("root/b"));
    if (name == "c") {
      std::filesystem::remove(tree_.at("root/c"));
      EXPECT_EQ(entries.status().error(), ErrorNumber::noEntry);
    }
  });
  EXPECT_EQ(names, (Names{"1 a/", "1 b/", "1 c"}));
}

TEST_F(DirectoryEnumeratorTest, TellsOfAFileWhatLstatTells) {
  tree_.write("root/file", std::string(70'000, 'x'));
  std::filesystem::create_symlink("file", tree_.at("root/link"));
  walk(Depth::recursive, [&](DirectoryEnumerator& entries, const std::string& name) {
    EXPECT_EQ(entries.status(), FileSystem::native().lstat(root_.appending(name))) << name;
  });
}

TEST_F(DirectoryEnumeratorTest, LeavesOutWhatAVolumeKeepsForItself) {
  for (const char* name : {"root/volume/.quillbrook-volume/lock", "root/.quillbrook-volume/other"}) {
    tree_.write(name, "x");
  }
  EXPECT_EQ(walk(), (Names{"1 .quillbrook-volume/", "2 .quillbrook-volume/other", "1 volume/"}));
}

}  // namespace
}  // namespace quillbrook
