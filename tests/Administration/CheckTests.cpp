// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>

#include "OrdinaryUser.h"
#include "Platform/Linux/FileDescriptor.h"
#include "SourceTree.h"
#include "Volume/Administration/VolumeCheck.h"
#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {
namespace {

using Kind = CheckFinding::Kind;

struct Checked {
  CheckResult result;
  std::map<std::string, Kind> findings;  // by path beneath the folder
};

Checked check(const SourceTree& tree) {
  Checked checked;
  const auto result = VolumeCheck::check(tree.folder(), [&](const CheckFinding& finding) {
    const std::string path = finding.path.bytes().substr(tree.folder().bytes().size() + 1);
    EXPECT_TRUE(checked.findings.emplace(path, finding.kind).second) << path << " told twice";
    EXPECT_TRUE(sentence(finding).ends_with('.'));
  });
  EXPECT_TRUE(result.has_value()) << sentence(result.error());
  if (result) checked.result = *result;
  return checked;
}

TEST(VolumeCheckTests, FindsEachKindOfDamageAndNothingElse) {
  const SourceTree tree;
  const std::string content = SourceTree::content(150'000, 1);
  tree.makeFolder("folder/deeper");
  for (const char* name : {"whole", "empty", "folder/deeper/whole"}) tree.writeContainer(name, content);
  tree.writeContainer("empty", "");
  tree.write("ordinary", content);
  tree.write("name \xFF\n", "x");
  tree.write("flags", "x");
  tree.writeState("flags", {.st_flags = UF_NODUMP, .creationTime = std::nullopt});
  ASSERT_EQ(::symlink("whole", tree.path("link").c_str()), 0);
  ASSERT_EQ(::mkfifo(tree.path("fifo").c_str(), 0600), 0);
  ASSERT_EQ(::link(tree.path("whole").c_str(), tree.path("folder/second name").c_str()), 0);

  std::map<std::string, Kind> expected;
  const auto damaged = [&](const std::string& name, Kind kind) {
    tree.writeContainer(name, content);
    expected[name] = kind;
  };
  damaged("bit", Kind::damagedContainer);
  tree.flipBit("bit", 100'000);
  damaged("trailer bit", Kind::damagedContainer);
  tree.flipBit("trailer bit", tree.state("trailer bit").rawByteCount() - 20);
  damaged("lost attribute", Kind::attributeMissing);
  tree.removeState("lost attribute");
  damaged("lost attribute, appended", Kind::attributeMissing);
  tree.removeState("lost attribute, appended");
  tree.append("lost attribute, appended", "more");
  damaged("lost attribute, bit", Kind::damagedContainer);
  tree.removeState("lost attribute, bit");
  tree.flipBit("lost attribute, bit", 70'000);
  damaged("lost attribute, cut", Kind::trailerMissing);
  tree.removeState("lost attribute, cut");
  tree.truncate("lost attribute, cut", 140'000);
  damaged("surplus", Kind::surplusBytes);
  tree.append("surplus", "more");
  damaged("cut", Kind::cutShort);
  tree.truncate("cut", 140'000);
  const std::string garbage(ContainerState::byteCount, 'x');
  damaged("garbled attribute", Kind::damagedState);
  ASSERT_EQ(::setxattr(tree.path("garbled attribute").c_str(), "user.quillbrook.state", garbage.data(), 56, 0), 0);
  tree.write("garbled attribute, no trailer", "x");
  ASSERT_EQ(
      ::setxattr(tree.path("garbled attribute, no trailer").c_str(), "user.quillbrook.state", garbage.data(), 56, 0),
      0);
  expected["garbled attribute, no trailer"] = Kind::damagedState;

  const auto redone = [&](const std::string& name, Kind kind, std::uint32_t copy) {
    damaged(name, kind);
    ContainerState state = tree.state(name);
    state.redoIdentifier = copy;
    tree.writeState(name, state);
  };
  tree.makeFolder(".quillbrook-volume/redo");
  tree.write(".quillbrook-volume/redo/17", content);
  redone("interrupted", Kind::interruptedExpansion, 17);
  redone("no copy", Kind::redoCopyMissing, 18);
  tree.write(".quillbrook-volume/redo/19", content.substr(1));
  redone("short copy", Kind::redoCopyMissing, 19);
  tree.write(".quillbrook-volume/redo/20", content);
  expected[".quillbrook-volume/redo/20"] = Kind::orphanRedoCopy;

  damaged("work.slimtmp", Kind::workFile);
  ASSERT_EQ(::setxattr(tree.path("work.slimtmp").c_str(), "user.com.studiomerlin.quillbrook.slimtmp", "\1", 1, 0), 0);
  tree.write("foreign.slimtmp", "x");

  const Checked checked = check(tree);
  EXPECT_EQ(checked.findings, expected);
  // whole (twice named), folder/deeper/whole, empty, ordinary, name, flags, foreign.slimtmp
  EXPECT_EQ(checked.result.files, 7U + 14U);
  EXPECT_EQ(checked.result.damaged, 12U);
  EXPECT_EQ(checked.result.notes, 3U);
  EXPECT_EQ(checked.result.unreadable, 0U);
  // Whole ones, those whose content is all there, and the redo copy.
  EXPECT_EQ(checked.result.logicalBytes, 7 * content.size());

  // It changed nothing.
  EXPECT_EQ(check(tree).findings, expected);
}

TEST(VolumeCheckTests, StopsAndRefuses) {
  const SourceTree tree;
  tree.writeContainer("file", "content");
  std::stop_source stop;
  stop.request_stop();
  const auto stopped = VolumeCheck::check(tree.folder(), [](const CheckFinding&) {}, stop.get_token());
  ASSERT_FALSE(stopped.has_value());
  EXPECT_EQ(stopped.error(), VolumeError(VolumeErrors::Stopped{}));
  for (const char* name : {"file", "nothing", "nothing/deeper"}) {
    const auto refused = VolumeCheck::check(tree.path(name), [](const CheckFinding&) {});
    ASSERT_FALSE(refused.has_value()) << name;
    EXPECT_TRUE(std::holds_alternative<VolumeErrors::NotAFolder>(refused.error())) << name;
  }
}

// More levels than descriptors are kept, with work left at each of them on the way back.
TEST(FolderWalkTests, ComesBackFromGreatDepth) {
  const SourceTree tree;
  std::string path;
  constexpr int depth = 150;
  for (int i = 0; i < depth; ++i) {
    tree.makeFolder(path + "a");
    tree.makeFolder(path + "z");
    tree.write(path + "a/file", "x");
    tree.write(path + "z/file", "x");
    path += "m/";
    tree.makeFolder(path);
  }
  const FileDescriptor root(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  int files = 0;
  const FolderWalk::Visitor visitor{
      .onFile = [&](const WalkedFile&) { ++files; },
      .onUnreadable = [](const FilePath& unread,
                         ErrorNumber reason) { ADD_FAILURE() << unread.displayText() << ": " << reason.text(); }};
  EXPECT_TRUE(FolderWalk::walk(root.get(), tree.folder(), visitor));
  EXPECT_EQ(files, 2 * depth);
}

// A folder moved away from under the walk hides nothing silently.
TEST(FolderWalkTests, TellsWhatItCouldNotComeBackTo) {
  const SourceTree tree;
  constexpr int depth = 80;
  std::vector<std::string> levels{""};
  for (int i = 0; i < depth; ++i) levels.push_back(levels.back() + "m/");
  for (const std::string& level : levels) {
    tree.makeFolder(level + "z");
    tree.write(level + "z/file", "x");
  }
  tree.write(levels.back() + "deepest", "x");
  tree.makeFolder("elsewhere");
  std::set<std::string> seen;
  const std::size_t prefix = tree.folder().bytes().size() + 1;
  const FileDescriptor root(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  const FolderWalk::Visitor visitor{
      .onFile =
          [&](const WalkedFile& file) {
            seen.insert(file.path.bytes().substr(prefix));
            if (std::string_view(file.name) != "deepest") return;
            ASSERT_EQ(::rename(tree.path("m/m/m").c_str(), tree.path("elsewhere/m").c_str()), 0);
          },
      .onUnreadable = [&](const FilePath& path,
                          ErrorNumber) { seen.insert((path.bytes() + "/z/file").substr(prefix)); }};
  EXPECT_TRUE(FolderWalk::walk(root.get(), tree.folder(), visitor));
  for (const std::string& level : levels) EXPECT_TRUE(seen.contains(level + "z/file")) << level.size() / 2;
}

TEST(FolderWalkTests, TellsWhatItCannotReadAndStaysInside) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  const SourceTree tree;
  tree.makeFolder("open");
  tree.makeFolder("closed");
  tree.makeFolder("listed only");
  tree.write("open/file", "x");
  tree.write("listed only/file", "x");
  ASSERT_EQ(::symlink("/usr", tree.path("open/link").c_str()), 0);
  ASSERT_EQ(::chmod(tree.path("closed").c_str(), 0), 0);
  ASSERT_EQ(::chmod(tree.path("listed only").c_str(), 0400), 0);
  const FileDescriptor root(::open(tree.folder().c_str(), O_RDONLY | O_DIRECTORY));
  std::vector<std::string> files;
  std::vector<std::string> unread;
  const std::size_t prefix = tree.folder().bytes().size() + 1;
  const FolderWalk::Visitor visitor{
      .onFile = [&](const WalkedFile& file) { files.push_back(file.path.bytes().substr(prefix)); },
      .onUnreadable = [&](const FilePath& path, ErrorNumber) { unread.push_back(path.bytes().substr(prefix)); }};
  EXPECT_TRUE(FolderWalk::walk(root.get(), tree.folder(), visitor));
  EXPECT_THAT(files, testing::UnorderedElementsAre("open/file"));
  EXPECT_THAT(unread, testing::UnorderedElementsAre("closed", "listed only"));
  ::chmod(tree.path("closed").c_str(), 0700);
  ::chmod(tree.path("listed only").c_str(), 0700);
}

}  // namespace
}  // namespace quillbrook
