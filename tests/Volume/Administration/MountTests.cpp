// SPDX-License-Identifier: MIT

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "SourceTree.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {
namespace {

TEST(MountedVolumesTests, TakesVolumesFromWhatTheKernelWrites) {
  const auto volume = [](const char* mountPoint, const char* source, std::uint32_t owner, bool isReadOnly) {
    return MountedVolume{FilePath(mountPoint), FilePath(source), owner, isReadOnly, true};
  };
  const std::vector<std::pair<std::string, std::vector<MountedVolume>>> cases{
      {"/v rw - fuse.quillbrooks /v rw", {}},
      // Several optional fields; read-only by the mount alone, and by the file system alone.
      {"/v ro,nosuid shared:1 master:2 unbindable - fuse.quillbrook /v rw,user_id=1000",
       {volume("/v", "/v", 1000, true)}},
      {"/v rw - fuse.quillbrook /w ro", {volume("/v", "/w", 0, true)}},
      // Blank, tab, line feed, backslash and bytes that are no UTF-8.
      {"/a\\040b\\011c\\012d\\134e\xFF\xC3 rw - fuse.quillbrook \\043s rw",
       {volume("/a b\tc\nd\\e\xFF\xC3", "#s", 0, false)}},
      // An escaped backslash before digits is one character; what is no escape stands as it is.
      {R"(/\134040\8\04 rw - fuse.quillbrook s rw)", {volume(R"(/\040\8\04)", "s", 0, false)}},
      // Options that only begin like "ro" and "user_id".
      {"/v rw,rootcontext=x - fuse.quillbrook s rw,user_idx=3,user_id=4x", {volume("/v", "s", 0, false)}}};
  for (const auto& [line, expected] : cases) {
    EXPECT_EQ(MountedVolumes::parse("7 1 0:5 / " + line + "\n"), expected) << line;
  }

  // One that is covered by another mount is met by nobody.
  const auto volumes = MountedVolumes::parse(
      "7 1 0:5 / /v rw - ext4 a rw\n8 7 0:6 / /v rw - fuse.quillbrook /v rw\n"
      "9 1 0:7 / /w rw - fuse.quillbrook /w rw\n10 1 0:8 / /w rw - tmpfs b rw\nnot a line\n\n11 1 0:9 / /m");
  ASSERT_EQ(volumes.size(), 2U);
  EXPECT_EQ(MountedVolumes::at(volumes, FilePath("/v")), volumes.data());
  EXPECT_EQ(MountedVolumes::at(volumes, FilePath("/w")), nullptr);
}

TEST(DaemonAddressTests, TakesNothingButAProcessAndItsDescriptor) {
  EXPECT_EQ(DaemonAddress::parse("/proc/4711/fd/5"), (DaemonAddress{4711, FilePath("/proc/4711/fd/5")}));
  for (const std::string_view text : {"", "/proc/4711/fd/", "/proc/4711/fd/5/", "/proc/0/fd/5", "/proc/-1/fd/5",
                                      "/proc/self/fd/5", "/proc/4711/fd/../cwd", "/etc"}) {
    EXPECT_EQ(DaemonAddress::parse(text), std::nullopt) << text;
  }
}

// What is refused: by nesting or for what needs the folder, in a word.
std::string refusal(const std::string& folder, const MountSurroundings& surroundings,
                    const std::vector<MountedVolume>& volumes, bool force) {
  auto allowed = MountPolicy::checkNesting(FilePath(folder), volumes);
  if (allowed && !force) allowed = MountPolicy::checkProtection(FilePath(folder), surroundings);
  if (allowed) return "";
  if (const auto* nested = std::get_if<VolumeErrors::Nested>(&allowed.error())) {
    return (nested->isInside ? "inside " : "holds ") + nested->volume.bytes();
  }
  if (const auto* refused = std::get_if<VolumeErrors::Protected>(&allowed.error())) return refused->needed.bytes();
  return describe(allowed.error());
}

TEST(MountPolicyTests, RefusesWhatTheSystemOrTheVolumeItselfNeeds) {
  const SourceTree tree;
  const std::string home = tree.at("h");
  tree.makeFolder("h/elsewhere/keys");
  // The keys really lie elsewhere: that place is what counts.
  std::filesystem::create_directory_symlink("elsewhere/keys", tree.at("h/.ssh"));
  const MountSurroundings surroundings{.home = FilePath(home),
                                       .configuration = FilePath(home + "/.config"),
                                       .data = FilePath(home + "/.local/share"),
                                       .state = FilePath(home + "/.local/state"),
                                       .runtime = FilePath("/run/user/1000"),
                                       .otherHomes = {FilePath("/people/other")},
                                       .programs = {FilePath(home + "/opt/bin")}};
  for (const std::string& allowed : {home + "/documents", home + "/.configuration", home + "/.config/editor",
                                     home + "/opt/bin/data", std::string("/srv/data"), std::string("/usr/local/share"),
                                     std::string("/var/lib/app"), std::string("/people/other/documents")}) {
    EXPECT_EQ(refusal(allowed, surroundings, {}, false), "") << allowed;
  }
  const std::vector<std::pair<std::string, std::string>> refused{
      {home, home},
      {tree.folder().bytes(), home},
      {home + "/elsewhere", home + "/elsewhere/keys"},
      {home + "/elsewhere/keys/old", home + "/elsewhere/keys"},
      {home + "/.config/systemd/user", home + "/.config/systemd"},
      {home + "/.local", home + "/.local/share/Quillbrook"},
      {home + "/.local/state", home + "/.local/state/Quillbrook"},
      {home + "/opt", home + "/opt/bin"},
      {"/run/user/1000", "/run/user/1000"},
      {"/people/other", "/people/other"},
      {"/people", "/people/other"}};
  for (const auto& [folder, needed] : refused) {
    EXPECT_EQ(refusal(folder, surroundings, {}, false), needed) << folder;
    EXPECT_EQ(refusal(folder, surroundings, {}, true), "") << folder;
  }
  // What the system needs, itself, with its children or with everything in it.
  for (const std::string folder :
       {"/", "/home", "/usr/share", "/var/lib", "/usr/lib/x86_64-linux-gnu", "/etc/app/data"}) {
    EXPECT_EQ(refusal(folder, surroundings, {}, false), folder);
  }
}

TEST(MountPolicyTests, RefusesNestedVolumesWhateverIsInsistedOn) {
  const auto volumes = MountedVolumes::parse(
      "1 0 0:1 / /srv/a/b rw - fuse.quillbrook /srv/a/b rw\n"
      "2 0 0:2 / /mnt/shown rw - fuse.quillbrook /srv/source rw\n"
      "3 0 0:3 / /srv/usb rw - vfat /dev/sdb1 rw\n");
  const std::vector<std::pair<const char*, const char*>> cases{{"/srv/a/b", ""},
                                                               {"/srv/a/bc", ""},
                                                               {"/srv/usb", ""},
                                                               {"/srv/a/b/c", "inside /srv/a/b"},
                                                               {"/srv/a", "holds /srv/a/b"},
                                                               {"/srv/source", "served(folder: /srv/source)"},
                                                               {"/srv/source/x", "inside /srv/source"},
                                                               {"/mnt", "holds /mnt/shown"}};
  for (const auto& [folder, expected] : cases) EXPECT_EQ(refusal(folder, {}, volumes, true), expected) << folder;
}

}  // namespace
}  // namespace quillbrook
