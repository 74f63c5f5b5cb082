// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Platform/Linux/ChildProgram.h"
#include "SourceTree.h"
#include "Volume/Administration/UnitName.h"
#include "Volume/Administration/VolumeUnit.h"

namespace quillbrook {
namespace {

TEST(VolumeUnitTests, EscapesPathsAsSystemdDoes) {
  struct Case {
    std::string path;
    std::string escaped;
  };
  const std::vector<Case> cases{
      {"/", "-"},
      {"/home/a/b", "home-a-b"},
      {"/home/a-b", "home-a\\x2db"},
      {"/.cache/x", "\\x2ecache-x"},
      {"/a/.b", "a-.b"},
      {"/with blank/100%", "with\\x20blank-100\\x25"},
      {"/a\\b", "a\\x5cb"},
      {"/\xC3\xA4/\xFF", "\\xc3\\xa4-\\xff"},
      {"/A_z:9.", "A_z:9."},
      {"/line\nfeed\"$@", "line\\x0afeed\\x22\\x24\\x40"},
  };
  const bool hasPeer = std::filesystem::exists("/usr/bin/systemd-escape");
  for (const Case& c : cases) {
    EXPECT_EQ(UnitName::escapedPath(FilePath(c.path)), c.escaped);
    if (!hasPeer) continue;
    auto peer = ChildProgram::start({"/usr/bin/systemd-escape", "--path", "--", c.path}, ChildProgram::Session::own);
    ASSERT_TRUE(peer.has_value());
    ASSERT_EQ(peer->wait(), 0);
    EXPECT_EQ(peer->words(), c.escaped + "\n");
  }
  EXPECT_EQ(UnitName::escapedPath(FilePath("/a//b/")), "a-b");
}

// Without a service manager: what is put in place, and that it goes again with the last folder.
TEST(VolumeUnitTests, PutsUnitAndLinkInPlaceAndTakesThemAway) {
  const SourceTree tree;
  tree.makeFolder("home");
  tree.makeFolder("one");
  tree.makeFolder("two-2");
  tree.write("bin", "");
  tree.makeFolder("programs");
  tree.write("programs/quillbrook-volume", "#!/bin/sh\n");
  std::filesystem::permissions(tree.path("programs/quillbrook-volume").bytes(), std::filesystem::perms::owner_all);
  ::setenv("HOME", tree.path("home").c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", tree.path("home/.config").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", tree.path("home/runtime").c_str(), 1);
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::setenv("PATH", (tree.path("programs").bytes() + ":/usr/bin:/bin").c_str(), 1);

  const std::string besideThis = std::filesystem::canonical("/proc/self/exe").parent_path() / "quillbrook-volume";
  const auto first = VolumeUnit::enable(tree.path("one"), false);
  ASSERT_TRUE(first.has_value()) << sentence(first.error());
  EXPECT_NE(first->reach, UserServiceManager::Reach::running);
  const std::string folder = "home/.config/systemd/user/";
  EXPECT_EQ(first->unitFile, tree.path(folder + "quillbrook-volume@.service"));
  const std::string unit = tree.read(folder + "quillbrook-volume@.service");
  // The daemon beside the running program comes before those of PATH.
  const std::string daemon =
      std::filesystem::exists(besideThis) ? besideThis : tree.path("programs/quillbrook-volume").bytes();
  EXPECT_NE(unit.find("ExecStart=:\"" + daemon + "\" -f -- \"%f\"\n"), std::string::npos) << unit;
  EXPECT_NE(unit.find("\nRestart=on-failure\n"), std::string::npos);
  const std::string wants = folder + "default.target.wants/";
  EXPECT_EQ(tree.read(wants + first->unit), unit);

  const auto second = VolumeUnit::enable(tree.path("two-2"), false);
  ASSERT_TRUE(second.has_value());
  EXPECT_TRUE(second->unit.ends_with("two\\x2d2.service"));
  ASSERT_TRUE(VolumeUnit::enable(tree.path("two-2"), false).has_value());

  ASSERT_TRUE(VolumeUnit::disable(tree.path("one")).has_value());
  EXPECT_FALSE(tree.exists(wants + first->unit));
  EXPECT_EQ(tree.read(wants + second->unit), unit);
  ASSERT_TRUE(VolumeUnit::disable(tree.path("two-2")).has_value());
  EXPECT_FALSE(tree.exists(folder + "quillbrook-volume@.service"));
  ASSERT_TRUE(VolumeUnit::disable(tree.path("two-2")).has_value());

  const auto refused = VolumeUnit::enable(tree.path("home"), false);
  ASSERT_FALSE(refused.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::Protected>(refused.error()));
  const auto noFolder = VolumeUnit::enable(tree.path("bin"), true);
  ASSERT_FALSE(noFolder.has_value());
  EXPECT_TRUE(std::holds_alternative<VolumeErrors::NotAFolder>(noFolder.error()));
}

}  // namespace
}  // namespace quillbrook
