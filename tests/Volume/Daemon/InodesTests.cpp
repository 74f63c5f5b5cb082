// SPDX-License-Identifier: MIT

#include "MountedFolder.h"
#include "Volume/Daemon/Inodes.h"

namespace quillbrook {
namespace {

// A volume that is not mounted and keeps no descriptors.
class InodesTest : public testing::Test {
 protected:
  void SetUp() override {
    Options options;
    options.source = options.mountPoint = scratch_.folder();
    auto source = SourceFolder::open(options);
    ASSERT_TRUE(source) << sentence(source.error());
    volume_.emplace(options, std::move(*source), 0);
  }

  const ScratchFolder scratch_;
  std::optional<Volume> volume_;
};

// Far down, since each level that would be tried again multiplies the attempts of all those below.
TEST_F(InodesTest, TellsWhyAFileDeepDownIsOutOfReach) {
  Node* node = &volume_->nodes.root();
  std::string path = scratch_.folder().bytes();
  for (int level = 0; level < 50; ++level) {
    path += "/d";
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    const SharedLock lock(node->lock);
    node = &volume_->nodes.acquire(*node, "d", Content::status(path));
  }
  EXPECT_TRUE(Inodes::descriptor(*volume_, *node));

  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const auto withoutRoom = Inodes::descriptor(*volume_, *node);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_FALSE(withoutRoom);
  EXPECT_EQ(withoutRoom.error(), ErrorNumber{EMFILE});

  std::filesystem::remove_all(scratch_.at("d"));
  const auto removed = Inodes::descriptor(*volume_, *node);
  ASSERT_FALSE(removed);
  EXPECT_EQ(removed.error(), ErrorNumber{ESTALE});
}

// The host gives the number of a swapped file away while programs still see it.
TEST_F(InodesTest, ANumberStillShownGoesToFoldersButToNoOtherFile) {
  Node& root = volume_->nodes.root();
  const auto seen = [&](const char* name, mode_t kind, ino_t inode) -> Node& {
    struct stat status{};
    status.st_dev = 1;
    status.st_ino = inode;
    status.st_mode = kind | 0600U;
    return volume_->nodes.acquire(root, name, status);
  };
  Node& swapped = seen("swapped", S_IFREG, 100);
  volume_->nodes.replaced(swapped, {.device = 1, .inode = 101}, nullptr);
  EXPECT_EQ(swapped.shownInode, 100U);
  EXPECT_NE(seen("other", S_IFREG, 100).shownInode, 100U);
  volume_->nodes.forget(seen("other", S_IFREG, 100), 2);
  // The file layer finds a folder beneath the mount by its number.
  EXPECT_EQ(seen("folder", S_IFDIR, 100).shownInode, 100U);
}

}  // namespace
}  // namespace quillbrook
