// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "SourceTree.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

using namespace std::string_literals;

TEST(MountedVolumesTests, TakesVolumesFromWhatTheKernelWrites) {
  const auto volume = [](const char* mountPoint, const char* source, std::uint32_t owner, bool isReadOnly) {
    return MountedVolume{FilePath(mountPoint), FilePath(source), owner, isReadOnly, true};
  };
  struct Case {
    std::string line;
    std::vector<MountedVolume> expected;
  };
  const std::vector<Case> cases{
      {"36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue", {}},
      {"7 1 0:5 / /v rw - fuse.quillbrook /v rw,user_id=1000,group_id=1000", {volume("/v", "/v", 1000, false)}},
      {"7 1 0:5 / /v rw - fuse.quillbrooks /v rw", {}},
      // Several optional fields; read-only by the mount alone, and by the file system alone.
      {"7 1 0:5 / /v ro,nosuid shared:1 master:2 propagate_from:3 unbindable - fuse.quillbrook /v rw,user_id=0",
       {volume("/v", "/v", 0, true)}},
      {"7 1 0:5 / /v rw - fuse.quillbrook /w ro", {volume("/v", "/w", 0, true)}},
      // Blank, tab, line feed, backslash and bytes that are no UTF-8.
      {"7 1 0:5 / /a\\040b\\011c\\012d\\134e\xFF\xC3 rw - fuse.quillbrook \\043s rw",
       {volume("/a b\tc\nd\\e\xFF\xC3", "#s", 0, false)}},
      // An escaped backslash before digits is one character; what is no escape stands as it is.
      {"7 1 0:5 / /\\134040\\8\\04 rw - fuse.quillbrook s rw", {volume("/\\040\\8\\04", "s", 0, false)}},
      // Options that only begin like "ro" and "user_id".
      {"7 1 0:5 / /v rw,rootcontext=x - fuse.quillbrook s rw,user_idx=3,user_id=4x", {volume("/v", "s", 0, false)}},
      {"", {}},
      {"x 1 0:5 / /v rw - fuse.quillbrook s rw", {}},
      {"7 1 0:5 / /v rw shared:1", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(MountedVolumes::parse(c.line + "\n"), c.expected) << c.line;
}

TEST(MountedVolumesTests, FindsTheVolumeThatAProgramMeets) {
  const auto volumes = MountedVolumes::parse(
      "7 1 0:5 / /v rw - ext4 a rw\n8 7 0:6 / /v rw - fuse.quillbrook /v rw\n"
      "9 1 0:7 / /w rw - fuse.quillbrook /w rw\n10 1 0:8 / /w rw - tmpfs b rw\n");
  ASSERT_EQ(volumes.size(), 2U);
  EXPECT_EQ(MountedVolumes::at(volumes, FilePath("/v")), volumes.data());
  EXPECT_EQ(MountedVolumes::at(volumes, FilePath("/v/")), nullptr);
  EXPECT_EQ(MountedVolumes::at(volumes, FilePath("/w")), nullptr);
}

TEST(DaemonAddressTests, TakesNothingButAProcessAndItsDescriptor) {
  EXPECT_EQ(DaemonAddress::parse("/proc/4711/fd/5"), (DaemonAddress{4711, FilePath("/proc/4711/fd/5")}));
  for (const std::string_view text : {"", "/proc/4711/fd/", "/proc/4711/fd/5/", "/proc/0/fd/5", "/proc/-1/fd/5",
                                      "/proc/self/fd/5", "/proc/4711/cwd", "/proc/4711/fd/../cwd", "/etc"}) {
    EXPECT_EQ(DaemonAddress::parse(text), std::nullopt) << text;
  }
}

TEST(FolderPathTests, ComparesWholeNames) {
  struct Case {
    const char* folder;
    const char* path;
    bool contains;
  };
  for (const Case& c : {Case{"/a", "/a", true}, Case{"/a", "/a/b", true}, Case{"/a", "/ab", false},
                        Case{"/", "/a", true}, Case{"/a/b", "/a", false}}) {
    EXPECT_EQ(FolderPath::contains(FilePath(c.folder), FilePath(c.path)), c.contains) << c.folder << ' ' << c.path;
  }
}

// What is refused, in a word.
std::string refusal(const std::string& folder, const MountSurroundings& surroundings,
                    const std::vector<MountedVolume>& volumes, bool force) {
  auto allowed = MountPolicy::checkNesting(FilePath(folder), volumes);
  if (allowed && !force) allowed = MountPolicy::checkProtection(FilePath(folder), surroundings);
  if (allowed) return "";
  if (const auto* nested = std::get_if<VolumeErrors::Nested>(&allowed.error())) {
    return nested->isInside ? "inside " + nested->volume.bytes() : "holds " + nested->volume.bytes();
  }
  if (const auto* protectedFolder = std::get_if<VolumeErrors::Protected>(&allowed.error())) {
    return "needs " + protectedFolder->needed.bytes();
  }
  return describe(allowed.error());
}

TEST(MountPolicyTests, RefusesWhatTheSystemOrTheVolumeItselfNeeds) {
  const SourceTree tree;
  const std::string home = tree.folder().bytes() + "/h";
  tree.makeFolder("h/elsewhere/keys");
  tree.makeFolder("h/documents");
  // The keys really lie elsewhere: that place is what counts.
  ASSERT_EQ(::symlink("elsewhere/keys", tree.path("h/.ssh").c_str()), 0);
  const MountSurroundings surroundings{.home = FilePath(home),
                                       .configuration = FilePath(home + "/.config"),
                                       .data = FilePath(home + "/.local/share"),
                                       .state = FilePath(home + "/.local/state"),
                                       .runtime = FilePath("/run/user/1000"),
                                       .programs = {FilePath(home + "/opt/quillbrook/bin")}};
  struct Case {
    std::string folder;
    std::string refusal;
  };
  const std::vector<Case> cases{
      {home + "/documents", ""},
      {home + "/.configuration", ""},
      {home + "/.config/editor", ""},
      {home + "/opt/quillbrook/bin/data", ""},
      {"/srv/data", ""},
      {"/usr/local/share", ""},
      {"/var/lib/app", ""},
      {"/mnt/disk", ""},
      {home, "needs " + home},
      {tree.folder().bytes(), "needs " + home},
      {home + "/elsewhere", "needs " + home + "/elsewhere/keys"},
      {home + "/elsewhere/keys/old", "needs " + home + "/elsewhere/keys"},
      {home + "/.config", "needs " + home + "/.config/systemd"},
      {home + "/.config/systemd/user", "needs " + home + "/.config/systemd"},
      {home + "/.local", "needs " + home + "/.local/share/Quillbrook"},
      {home + "/.local/state", "needs " + home + "/.local/state/Quillbrook"},
      {home + "/opt", "needs " + home + "/opt/quillbrook/bin"},
      {"/run/user/1000", "needs /run/user/1000"},
      {"/", "needs /"},
      {"/usr", "needs /usr"},
      {"/usr/share", "needs /usr/share"},
      {"/usr/lib/x86_64-linux-gnu", "needs /usr/lib/x86_64-linux-gnu"},
      {"/etc/app/data", "needs /etc/app/data"},
      {"/boot", "needs /boot"},
      {"/dev/shm", "needs /dev/shm"},
      {"/lib64", "needs /lib64"},
      {"/var/lib", "needs /var/lib"},
      {"/home", "needs /home"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(refusal(c.folder, surroundings, {}, false), c.refusal) << c.folder;
    EXPECT_EQ(refusal(c.folder, surroundings, {}, true), "") << c.folder;
  }
}

TEST(MountPolicyTests, RefusesNestedVolumesWhateverIsInsistedOn) {
  const auto volumes = MountedVolumes::parse(
      "1 0 0:1 / /srv/a/b rw - fuse.quillbrook /srv/a/b rw\n"
      "2 0 0:2 / /mnt/shown rw - fuse.quillbrook /srv/source rw\n"
      "3 0 0:3 / /srv/usb rw - vfat /dev/sdb1 rw\n");
  struct Case {
    std::string folder;
    std::string refusal;
  };
  for (const Case& c : {Case{"/srv/a/b", ""}, Case{"/srv/a/bc", ""}, Case{"/srv/usb", ""},
                        Case{"/srv/a/b/c", "inside /srv/a/b"}, Case{"/srv/a", "holds /srv/a/b"},
                        Case{"/srv/source", "served(folder: /srv/source)"}, Case{"/srv/source/x", "inside /srv/source"},
                        Case{"/mnt", "holds /mnt/shown"}, Case{"/mnt/shown/x", "inside /mnt/shown"}}) {
    EXPECT_EQ(refusal(c.folder, {}, volumes, true), c.refusal) << c.folder;
  }
}

}  // namespace
}  // namespace quillbrook
