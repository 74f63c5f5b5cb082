// SPDX-License-Identifier: MIT
#include "NativeFixture.h"
#include "Platform/Linux/AttributeNames.h"

namespace quillbrook::test {
namespace {

TEST(AttributeNames, BothWays) {
  const struct {
    const char* host;
    const char* platform;
  } cases[] = {
      {"user.comment", "comment"},
      {"user.com.apple.FinderInfo", "com.apple.FinderInfo"},
      {"user.user.comment", "user.user.comment"},
      {"user.system.x", "user.system.x"},
      {"user.security.x", "user.security.x"},
      {"user.trusted.x", "user.trusted.x"},
      {"user.username", "username"},
      {"user.quillbrookish", "quillbrookish"},
      {"security.capability", "security.capability"},
      {"trusted.overlay.opaque", "trusted.overlay.opaque"},
      {"system.nfs4_acl", "system.nfs4_acl"},
      {"user.\xFF\xFE", "\xFF\xFE"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AttributeNames::hostName(c.platform), c.host);
    EXPECT_EQ(AttributeNames::platformName(c.host), c.platform);
  }
  for (const auto* host : {"user.quillbrook.state", "user.quillbrook.other", "system.posix_acl_access",
                           "system.posix_acl_default", "trusted.SGI_ACL_FILE"}) {
    EXPECT_FALSE(AttributeNames::platformName(host)) << host;
  }
  // "user.comment" would be "comment" here, so no host attribute has that name.
  for (const auto* platform : {"quillbrook.state", "system.posix_acl_access", "user.comment", ""}) {
    EXPECT_FALSE(AttributeNames::hostName(platform)) << platform;
  }
}

class Attributes : public NativeFixture {};

TEST_F(Attributes, OfOrdinaryFiles) {
  auto& files = FileSystem::native();
  const auto file = ordinary("a", "content");
  EXPECT_EQ(attribute(file, "none").error(), ErrorNumber::attributeMissing);
  ASSERT_TRUE(files.setxattr(file, "comment", bytesOf("hello"), {}));
  ASSERT_TRUE(files.setxattr(file, "empty", {}, {}));
  ASSERT_TRUE(files.setxattr(file, "user.user.odd", bytesOf("x"), {}));
  // Carried here from elsewhere, behind data: plain attributes.
  ASSERT_TRUE(files.setxattr(file, resourceFork, bytesOf("fork"), {}));
  ASSERT_TRUE(files.setxattr(file, decmpfs, bytesOf("stale"), {}));
  EXPECT_EQ(attribute(file, "comment"), bytesOf("hello"));
  EXPECT_EQ(attribute(file, "empty"), Bytes{});
  EXPECT_EQ(attribute(file, resourceFork), bytesOf("fork"));
  EXPECT_EQ(names(file), (std::set<std::string>{"comment", "empty", "user.user.odd", std::string(resourceFork),
                                                std::string(decmpfs)}));
  EXPECT_EQ(raw(file), "content");
  EXPECT_EQ(getxattr(file.c_str(), "user.user.odd", nullptr, 0), 1);

  Bytes small(4);
  EXPECT_EQ(files.getxattr(file, "comment", small, {}).error().value, ERANGE);
  EXPECT_EQ(files.getxattr(file, "comment", std::span(small).first(0), {}).error().value, ERANGE);
  EXPECT_EQ(files.setxattr(file, "quillbrook.state", bytesOf("x"), {}).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(files.setxattr(file, "system.posix_acl_access", bytesOf("x"), {}).error(), ErrorNumber::notSupported);
  EXPECT_EQ(files.setxattr(file, "user.comment", bytesOf("x"), {}).error(), ErrorNumber::invalid);
  ASSERT_TRUE(files.removexattr(file, "comment", {}));
  EXPECT_EQ(files.removexattr(file, "comment", {}).error(), ErrorNumber::attributeMissing);
}

TEST_F(Attributes, FollowLinksOnlyWhenAsked) {
  auto& files = FileSystem::native();
  const auto file = ordinary("target", "x");
  ASSERT_TRUE(files.setxattr(file, "comment", bytesOf("here"), {}));
  ASSERT_EQ(symlink("target", path("link").c_str()), 0);
  EXPECT_EQ(attribute(path("link"), "comment"), bytesOf("here"));
  EXPECT_EQ(attribute(path("link"), "comment", {.noFollow = true, .showCompression = false}).error(),
            ErrorNumber::attributeMissing);
}

TEST_F(Attributes, ReadOnlyFilesGetAndLoseThem) {
  auto& files = FileSystem::native();
  const auto file = ordinary("a", "x");
  ASSERT_EQ(chown(folder.c_str(), 65'534, 65'534), geteuid() == 0 ? 0 : -1);
  if (geteuid() == 0) {
    ASSERT_EQ(chown(file.c_str(), 65'534, 65'534), 0);
  }
  ASSERT_EQ(chmod(file.c_str(), 04444), 0);
  // Without the privileges of root, which needs no permission bits.
  const auto outcome = inOtherProcess([&] {
    if (geteuid() == 0 && (setgid(65'534) != 0 || setuid(65'534) != 0)) return 9;
    if (!files.setxattr(file, marker, Bytes{1}, {})) return 1;
    if (!files.setCreationTime(file, {.seconds = 5, .nanoseconds = 0})) return 2;
    if (!files.removexattr(file, marker, {.noFollow = true, .showCompression = false})) return 3;
    return 0;
  });
  EXPECT_EQ(outcome, 0);
  EXPECT_EQ(status(file).st_mode, 04444U);
  EXPECT_EQ(status(file).st_birthtimespec.seconds, 5);
}

}  // namespace
}  // namespace quillbrook::test
