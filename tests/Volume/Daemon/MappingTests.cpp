// SPDX-License-Identifier: MIT
#include <sys/mount.h>

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"

namespace quillbrook {
namespace {

using Owner = MountedFolder::Owner;

// The engine goes beneath the mount of a volume, and nowhere that something else could have led it.
TEST(MappingTest, LeadsBeneathAVolumesOwnMountAndNowhereElse) {
  if (const auto obstacle = MountedFolder::obstacle(Owner::nobody)) GTEST_SKIP() << *obstacle;
  const std::string bytes = Content::text(50'000);
  const std::string noVolume = ".slimtmp, chflags: errno=95)";
  const std::string noWayIn = ", lstat: errno=13)";  // nobody could tell a compressed file there
  struct Place {
    std::string sub, link, outside;  // "sub" and "outside" hold a file "f"
  };
  struct Case {
    const char* what;
    std::string Place::* folder;  // of the file that is compressed
    std::string error;            // its end
    Owner owner;
    int (*arrange)(const Place&);
  };
  const auto nothing = [](const Place&) { return 0; };
  const std::vector<Case> cases{
      {"a file of the volume", &Place::sub, "", Owner::caller, nothing},
      {"a link within it", &Place::link, "", Owner::caller,
       [](const Place& place) { return symlink("sub", place.link.c_str()); }},
      {"a link out of it", &Place::link, noVolume, Owner::caller,
       [](const Place& place) { return symlink(place.outside.c_str(), place.link.c_str()); }},
      {"mounted deeper", &Place::sub, noVolume, Owner::caller,
       [](const Place& place) { return mount("none", place.sub.c_str(), "tmpfs", 0, nullptr); }},
      {"a part of it, mounted elsewhere", &Place::outside, noWayIn, Owner::caller,
       [](const Place& place) { return mount(place.sub.c_str(), place.outside.c_str(), "", MS_BIND, nullptr); }},
      {"somebody else's", &Place::sub, noWayIn, Owner::nobody, [](const Place&) { return seteuid(0) + setegid(0); }},
  };
  for (const auto& [what, folder, error, owner, arrange] : cases) {
    SCOPED_TRACE(what);
    const ScratchFolder source;
    const ScratchFolder other;
    source.write("sub/f", bytes);
    other.write("f", bytes);
    const MountedFolder mounted(source.folder().bytes(), {}, owner);
    ASSERT_TRUE(mounted.isMounted());
    const Place place{.sub = source.at("sub"), .link = source.at("link"), .outside = other.folder().bytes()};
    const std::string backing = mounted.backing("sub/f");
    ASSERT_EQ(arrange(place), 0);
    const std::string path = place.*folder + "/f";
    if (!std::filesystem::exists(path)) Content::write(path, bytes);
    const auto result = FileCompressor::compress(FilePath(path));
    EXPECT_EQ(result.has_value(), error.empty());
    EXPECT_TRUE(result || describe(result.error()).ends_with(error)) << describe(result.error());
    EXPECT_TRUE(Content::read(path) == bytes);
    EXPECT_EQ(Content::read(backing) == bytes, !error.empty());
    for (const std::string& mountPoint : {place.sub, place.outside}) umount2(mountPoint.c_str(), MNT_DETACH);
    EXPECT_TRUE(other.read("f") == bytes);
  }
}

}  // namespace
}  // namespace quillbrook
