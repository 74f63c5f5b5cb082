// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>

#include "Platform/Linux/MountTable.h"

namespace quillbrook::test {
namespace {

TEST(MountTable, ReadsLines) {
  const auto entries = MountTable::parse(
      "26 1 254:0 / / rw,relatime - ext4 /dev/root rw\n"
      "40 26 0:35 / /home/a\\040b\\134c rw shared:5 master:2 - fuse.quillbrook name rw,user_id=1000,group_id=1000\n"
      "41 40 0:36 /deep /home/x ro - fuse.quillbrook name rw,user_id=none\n"
      "not a line\n\n"
      "42 26 0:37 / /m");
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0], (MountEntry{26, 1, "/", "/", "ext4", "/dev/root", false, std::nullopt}));
  EXPECT_EQ(entries[1], (MountEntry{40, 26, "/", "/home/a b\\c", "fuse.quillbrook", "name", false, 1000}));
  EXPECT_EQ(entries[2], (MountEntry{41, 40, "/deep", "/home/x", "fuse.quillbrook", "name", true, std::nullopt}));
  const auto own = MountTable::read();
  ASSERT_TRUE(own.has_value());
  EXPECT_NE(std::ranges::find(*own, "/", &MountEntry::mountPoint), own->end());
}

}  // namespace
}  // namespace quillbrook::test
