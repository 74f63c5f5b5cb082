// SPDX-License-Identifier: MIT
#include <sys/mount.h>

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"
#include "Platform/DirectoryEnumerator.h"

namespace quillbrook {
namespace {

class EnumerationTest : public VolumeTest {};
INSTANTIATE_TEST_SUITE_P(Owners, EnumerationTest, testing::ValuesIn(owners), ownerName);

// A volume belongs to the folder that it lies in, and its files show that they are compressed. Whatever else is mounted
// there is another place.
TEST_P(EnumerationTest, EntersAVolumeAndShowsWhatIsCompressed) {
  source_.write("sub/compressed", ScratchFolder::prose(100'000));
  source_.write("other/hidden", "x");
  mounted_.reset();
  mount();
  ASSERT_TRUE(FileCompressor::compress(FilePath(mounted_->at("sub/compressed"))));
  const bool isCovered = ::mount("none", mounted_->at("other").c_str(), "tmpfs", 0, nullptr) == 0;
  const FilePath above = source_.folder().parent();
  for (const FilePath& root : {above, source_.folder(), source_.path("sub")}) {
    SCOPED_TRACE(root.bytes());
    const auto entries = DirectoryEnumerator::open(root, DirectoryEnumerator::Depth::recursive);
    ASSERT_TRUE(entries);
    bool isFound = false;
    while (const auto entry = (*entries)->next()) {
      const bool isOnTheWay = source_.path("sub").bytes().starts_with(entry->path.bytes());
      if (root == above && !isOnTheWay && entry->level == 1) (*entries)->skipDescendants();
      EXPECT_TRUE(entry->path != source_.path("other/hidden") || !isCovered);
      if (entry->path != source_.path("sub/compressed")) continue;
      isFound = true;
      const auto status = (*entries)->status();
      ASSERT_TRUE(status);
      EXPECT_EQ(status->st_flags & UF_COMPRESSED, UF_COMPRESSED);
      EXPECT_EQ(status->st_size, 100'000);
    }
    EXPECT_TRUE(isFound);
    std::set<std::string> omitted;
    while (const auto omission = (*entries)->takeOmission()) {
      if (!omission->error) omitted.insert(omission->folder.bytes());
    }
    EXPECT_EQ(omitted.contains(source_.at("other")), isCovered && root != source_.path("sub"));
  }
  if (isCovered) {
    ASSERT_EQ(::umount2(mounted_->at("other").c_str(), 0), 0);
  }
}

}  // namespace
}  // namespace quillbrook
