// SPDX-License-Identifier: MIT

#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Support/OrdinaryUser.h"
#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {
namespace {

using Names = std::set<std::string>;

struct Walked {
  Names files;  // beneath the folder
  Names unread;
};

Walked walk(const SourceTree& tree, const std::function<void(const std::string&)>& onFile = [](const auto&) {}) {
  Walked walked;
  const auto name = [&](const FilePath& path) {
    return path == tree.folder() ? std::string() : path.bytes().substr(tree.folder().bytes().size() + 1);
  };
  const FolderWalk::Visitor visitor{
      .onFile =
          [&](const WalkedFile& file) {
            EXPECT_TRUE(walked.files.insert(name(file.path)).second) << file.name;
            onFile(name(file.path));
          },
      .onUnreadable = [&](const FilePath& path, ErrorNumber) { walked.unread.insert(name(path)); }};
  const FileDescriptor root(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  EXPECT_TRUE(FolderWalk::walk(root.get(), tree.folder(), visitor));
  return walked;
}

// More levels than descriptors are kept, with work left at some of them on the way back, in whatever order a folder is
// listed. One that is moved away from under the walk meanwhile hides nothing silently.
TEST(FolderWalkTests, ComesBackFromGreatDepthOrTellsWhatItCouldNotComeBackTo) {
  for (const bool isMoved : {false, true}) {
    SCOPED_TRACE(isMoved);
    const SourceTree tree;
    std::vector<std::string> levels{""};  // each within the one before
    for (int i = 0; i < 150; ++i) {
      const std::string& level = levels.back();
      const std::string next = level + "m" + std::to_string(i) + "/";
      if (i % 2 == 0) tree.makeFolder(next);
      for (const char* folder : {"a", "z"}) tree.write(level + folder + std::to_string(i) + "/file", "x");
      levels.push_back(next);
    }
    tree.write(levels.back() + "deepest", "x");
    const Walked walked = walk(tree, [&](const std::string& file) {
      if (isMoved && file.ends_with("deepest")) std::filesystem::rename(tree.at(levels[60]), tree.at("elsewhere"));
    });
    EXPECT_EQ(walked.unread.empty(), !isMoved);
    for (std::size_t i = 0; i < 150; ++i) {
      for (const char* folder : {"a", "z"}) {
        EXPECT_TRUE(walked.files.contains(levels[i] + folder + std::to_string(i) + "/file") ||
                    walked.unread.contains(levels[i].substr(0, levels[i].size() - (i == 0 ? 0 : 1))))
            << i;
      }
    }
  }
}

TEST(FolderWalkTests, TellsWhatItCannotReadAndStaysInside) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  const SourceTree tree;
  tree.makeFolder("closed");
  tree.write("open/file", "x");
  tree.write("listed only/file", "x");
  std::filesystem::create_symlink("/usr", tree.at("open/link"));
  std::filesystem::permissions(tree.at("closed"), std::filesystem::perms::none);
  std::filesystem::permissions(tree.at("listed only"), std::filesystem::perms::owner_read);
  const Walked walked = walk(tree);
  EXPECT_EQ(walked.files, Names{"open/file"});
  EXPECT_EQ(walked.unread, (Names{"closed", "listed only/file"}));
  for (const char* name : {"closed", "listed only"}) {
    std::filesystem::permissions(tree.at(name), std::filesystem::perms::owner_all);
  }
}

}  // namespace
}  // namespace quillbrook
