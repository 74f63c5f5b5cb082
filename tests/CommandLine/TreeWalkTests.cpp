// SPDX-License-Identifier: MIT

#include "CommandLine/TreeWalk.h"
#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

// What a walk told of each path beneath the folder: "" for a file, "named" for one given by name.
class Notes final : public TreeVisitor {
 public:
  explicit Notes(const ScratchFolder& tree) : prefix_(tree.folder().bytes().size() + 1) {}
  bool visit(TreeFile file) override {
    note(file.path, file.isNamed ? "named" : "");
    return told.size() < limit;
  }
  void unreadable(const FilePath& folder, ErrorNumber error) override { note(folder, error.text()); }
  void otherFileSystem(const FilePath& folder) override { note(folder, "other file system"); }

  std::map<std::string, std::string> told;
  std::size_t limit = 1'000;

 private:
  void note(const FilePath& path, const std::string& words) {
    const std::string name = path.bytes().size() < prefix_ ? "." : path.bytes().substr(prefix_);
    EXPECT_TRUE(told.emplace(name, words).second) << name << " twice";
  }
  std::size_t prefix_;
};

class TreeWalkTest : public CommandLineTest {
 protected:
  bool walk(const std::string& root) {
    return TreeWalk::walk(FilePath(root), FileSystem::native(), openEnumerator, notes);
  }
  Notes notes{tree};
};

TEST_F(TreeWalkTest, VisitsRegularFilesAndTellsWhatItHadToLeaveOut) {
  for (const char* name : {"file", "slimtmp", "b.slimtmp", ".b.slimtmp", ".quillbrook-volume/lock", "sub/deep/z",
                           "closed/x", "mounted/x"}) {
    tree.write(name, "x");
  }
  std::filesystem::create_directory_symlink("sub", tree.at("link"));
  ASSERT_EQ(::mkfifo(tree.at("fifo").c_str(), 0600), 0);
  openEnumerator = OmittingWalk::opener({{"closed", ErrorNumber{EACCES}}, {"mounted", std::nullopt}});
  EXPECT_TRUE(walk(tree.folder().bytes()));
  EXPECT_EQ(notes.told, (std::map<std::string, std::string>{{"file", ""},
                                                            {"slimtmp", ""},
                                                            {"sub/deep/z", ""},
                                                            {"closed", "Permission denied"},
                                                            {"mounted", "other file system"}}));
}

TEST_F(TreeWalkTest, WhatIsNamedComesWhateverItIsUntilTheVisitorStops) {
  tree.write("b.slimtmp", "b");
  std::filesystem::create_directory_symlink(".", tree.at("link"));
  for (const char* root : {"b.slimtmp", "link", "missing"}) EXPECT_TRUE(walk(tree.at(root)));
  openEnumerator = [](const FilePath&, auto) { return std::unexpected(ErrorNumber::noEntry); };
  EXPECT_TRUE(walk(tree.folder().bytes()));
  EXPECT_EQ(notes.told,
            (std::map<std::string, std::string>{
                {"b.slimtmp", "named"}, {"link", "named"}, {"missing", "named"}, {".", ErrorNumber::noEntry.text()}}));
  openEnumerator = DirectoryEnumerator::open;
  for (int i = 0; i < 5; ++i) tree.write("many/" + std::to_string(i), "x");
  notes.limit = notes.told.size() + 2;
  EXPECT_FALSE(walk(tree.at("many")));
  EXPECT_EQ(notes.told.size(), notes.limit);
}

}  // namespace
}  // namespace quillbrook
