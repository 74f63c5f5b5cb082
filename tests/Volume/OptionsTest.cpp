// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "Volume/Daemon/Options.h"

namespace quillbrook {
namespace {

Options make(const char* source, const char* mountPoint) {
  Options options;
  options.source = FilePath(source);
  options.mountPoint = FilePath(mountPoint);
  return options;
}

TEST(OptionsTest, ReadsWhatUsersAndMountHelpersWrite) {
  Options foreground = make("/s", "/s");
  foreground.foreground = true;
  Options helper = make("/s", "/m");
  helper.readOnly = true;
  helper.mountOptions = {"ro", "allow_other"};
  Options handed = make("/s", "/m");
  handed.deviceDescriptor = 7;
  Options byPath = make("/s", "/dev/fd/5");
  byPath.deviceDescriptor = 5;
  struct Case {
    std::vector<std::string> arguments;
    Options expected;
  };
  const std::vector<Case> cases{
      {{"/s"}, make("/s", "/s")},
      {{"-f", "/s"}, foreground},
      {{"/s", "/m", "-o", "rw,ro,allow_other,noauto,x-systemd.automount,_netdev"}, helper},
      {{"-t", "fuse.quillbrook", "-oro,allow_other", "-n", "/s", "/m"}, helper},
      {{"--fd", "7", "/s", "/m"}, handed},
      {{"--fd=7", "/s", "/m"}, handed},
      {{"/s", "/dev/fd/5"}, byPath},
      {{"--", "-s"}, make("-s", "-s")},
  };
  for (const Case& one : cases) {
    const auto options = Options::parse(one.arguments);
    ASSERT_TRUE(options) << one.arguments.front() << ": " << options.error();
    EXPECT_EQ(*options, one.expected) << one.arguments.front();
  }
}

TEST(OptionsTest, RefusesTheRestWithWords) {
  const std::vector<std::vector<std::string>> cases{{},           {"/a", "/b", "/c"},  {"--fd", "x", "/s"}, {"--fd"},
                                                    {"-x", "/s"}, {"/s", "/dev/fd/x"}, {"/s", "-o"}};
  for (const auto& arguments : cases) {
    const auto options = Options::parse(arguments);
    ASSERT_FALSE(options);
    EXPECT_FALSE(options.error().empty());
  }
}

}  // namespace
}  // namespace quillbrook
