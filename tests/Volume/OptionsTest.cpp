// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <utility>

#include "Volume/Daemon/Options.h"

namespace quillbrook {
namespace {

using Arguments = std::vector<std::string>;

TEST(OptionsTest, ReadsWhatUsersAndMountHelpersWrite) {
  const FilePath s("/s");
  const FilePath m("/m");
  const std::vector<std::string> others{"ro", "allow_other"};
  // Source, mount point, descriptor, foreground, read-only, the mount's options.
  const std::vector<std::pair<Arguments, Options>> cases{
      {{"/s"}, {s, s, {}, false, false, {}}},
      {{"-f", "/s"}, {s, s, {}, true, false, {}}},
      {{"/s", "/m", "-o", "rw,ro,allow_other,noauto,x-systemd.automount,_netdev"}, {s, m, {}, false, true, others}},
      {{"-t", "fuse.quillbrook", "-oro,allow_other", "-n", "/s", "/m"}, {s, m, {}, false, true, others}},
      {{"--fd", "7", "/s", "/m"}, {s, m, 7, false, false, {}}},
      {{"--fd=7", "/s", "/m"}, {s, m, 7, false, false, {}}},
      {{"/s", "/dev/fd/5"}, {s, FilePath("/dev/fd/5"), 5, false, false, {}}},
      {{"--", "-s"}, {FilePath("-s"), FilePath("-s"), {}, false, false, {}}},
  };
  for (const auto& [arguments, expected] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto options = Options::parse(arguments);
    ASSERT_TRUE(options) << options.error();
    EXPECT_EQ(*options, expected);
  }
}

TEST(OptionsTest, RefusesTheRestWithWords) {
  for (const Arguments& arguments :
       {Arguments{}, Arguments{"/a", "/b", "/c"}, Arguments{"--fd", "x", "/s"}, Arguments{"--fd"},
        Arguments{"-x", "/s"}, Arguments{"/s", "/dev/fd/x"}, Arguments{"/s", "-o"}}) {
    const auto options = Options::parse(arguments);
    ASSERT_FALSE(options) << testing::PrintToString(arguments);
    EXPECT_FALSE(options.error().empty());
  }
}

}  // namespace
}  // namespace quillbrook
