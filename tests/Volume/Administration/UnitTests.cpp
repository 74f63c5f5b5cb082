// SPDX-License-Identifier: MIT

#include "Platform/Linux/ChildProgram.h"
#include "SourceTree.h"
#include "Volume/Administration/UnitName.h"
#include "Volume/Administration/VolumeUnit.h"

namespace quillbrook {
namespace {

TEST(VolumeUnitTests, EscapesPathsAsSystemdDoes) {
  const std::vector<std::pair<std::string, std::string>> cases{{"/", "-"},
                                                               {"/home/a-b", R"(home-a\x2db)"},
                                                               {"/.cache/.x", R"(\x2ecache-.x)"},
                                                               {"/with blank/100%\\", R"(with\x20blank-100\x25\x5c)"},
                                                               {"/\xC3\xA4/\xFF", R"(\xc3\xa4-\xff)"},
                                                               {"/A_z:9.\nd\"$@", R"(A_z:9.\x0ad\x22\x24\x40)"}};
  const bool hasPeer = std::filesystem::exists("/usr/bin/systemd-escape");
  if (!hasPeer) std::cout << "SKIPPED: systemd-escape, the peer, is not installed\n";
  for (const auto& [path, escaped] : cases) {
    EXPECT_EQ(UnitName::escapedPath(FilePath(path)), escaped);
    if (!hasPeer) continue;
    auto peer = ChildProgram::start({"/usr/bin/systemd-escape", "--path", "--", path}, ChildProgram::Session::own);
    ASSERT_TRUE(peer.has_value());
    ASSERT_EQ(peer->wait(), 0);
    EXPECT_EQ(peer->words(), escaped + "\n");
  }
  EXPECT_EQ(UnitName::escapedPath(FilePath("/a//b/")), "a-b");
}

// Without a service manager: what is put in place, and that it goes again with the last folder.
TEST(VolumeUnitTests, PutsUnitAndLinkInPlaceAndTakesThemAway) {
  const SourceTree tree;
  for (const char* folder : {"home", "one", "two-2"}) tree.makeFolder(folder);
  tree.write("file", "");
  tree.write("programs/quillbrook-volume", "#!/bin/sh\n");
  std::filesystem::permissions(tree.at("programs/quillbrook-volume"), std::filesystem::perms::owner_all);
  ::setenv("HOME", tree.at("home").c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", tree.at("home/.config").c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", tree.at("home/runtime").c_str(), 1);
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::setenv("PATH", (tree.at("programs") + ":/usr/bin:/bin").c_str(), 1);

  const auto first = VolumeUnit::enable(tree.path("one"), false);
  ASSERT_TRUE(first.has_value()) << sentence(first.error());
  EXPECT_NE(first->reach, ServiceManagerReach::running);
  const std::string folder = "home/.config/systemd/user/";
  const std::string unitFile = folder + "quillbrook-volume@.service";
  EXPECT_EQ(first->unitFile, tree.path(unitFile));
  const std::string unit = tree.read(unitFile);
  // The daemon beside the running program comes before those of PATH.
  const std::string besideThis = std::filesystem::canonical("/proc/self/exe").parent_path() / "quillbrook-volume";
  const std::string daemon = std::filesystem::exists(besideThis) ? besideThis : tree.at("programs/quillbrook-volume");
  EXPECT_TRUE(unit.contains("ExecStart=:\"" + daemon + "\" -f -- \"%f\"\n")) << unit;
  const std::string wants = folder + "default.target.wants/";
  EXPECT_EQ(tree.read(wants + first->unit), unit);

  for (int time = 0; time < 2; ++time) ASSERT_TRUE(VolumeUnit::enable(tree.path("two-2"), false).has_value());
  const auto disabled = VolumeUnit::disable(tree.path("one"));
  ASSERT_TRUE(disabled.has_value()) << sentence(disabled.error());
  EXPECT_TRUE(disabled->wasEnabled);
  const auto again = VolumeUnit::disable(tree.path("one"));
  ASSERT_TRUE(again.has_value()) << sentence(again.error());
  EXPECT_TRUE(sentence(*again).contains("was not enabled")) << sentence(*again);
  EXPECT_FALSE(tree.exists(wants + first->unit));
  EXPECT_TRUE(tree.exists(unitFile));
  for (int time = 0; time < 2; ++time) ASSERT_TRUE(VolumeUnit::disable(tree.path("two-2")).has_value());
  EXPECT_TRUE(std::filesystem::is_empty(tree.at(wants)));
  EXPECT_FALSE(tree.exists(unitFile));

  EXPECT_TRUE(isRefusedAs<VolumeErrors::Protected>(VolumeUnit::enable(tree.path("home"), false)));
  EXPECT_TRUE(isRefusedAs<VolumeErrors::NotAFolder>(VolumeUnit::enable(tree.path("file"), true)));
}

}  // namespace
}  // namespace quillbrook
