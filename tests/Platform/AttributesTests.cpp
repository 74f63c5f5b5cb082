// SPDX-License-Identifier: MIT

#include "NativeFixture.h"
#include "Platform/Linux/AttributeNames.h"

namespace quillbrook::test {
namespace {

TEST(AttributeNames, BothWays) {
  const auto expectBothWays = [](const std::string& host, const std::string& platform) {
    EXPECT_EQ(AttributeNames::hostName(platform), host);
    EXPECT_EQ(AttributeNames::platformName(host), platform);
  };
  for (const auto* name : {"comment", "com.apple.FinderInfo", "username", "quillbrookish", "\xFF\xFE"}) {
    expectBothWays(std::string("user.") + name, name);
  }
  for (const auto* name : {"user.user.comment", "user.system.x", "user.security.x", "user.trusted.x",
                           "security.capability", "trusted.overlay.opaque", "system.nfs4_acl"}) {
    expectBothWays(name, name);
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
  const auto file = ordinary("a", "content");
  // The last two were carried here from elsewhere, behind data: plain attributes.
  const std::set<std::string> given{"comment", "empty", "user.user.odd", std::string(resourceFork),
                                    std::string(decmpfs)};
  for (const auto& name : given) {
    EXPECT_EQ(attribute(file, name).error(), ErrorNumber::attributeMissing) << name;
    const auto value = bytesOf(name == "empty" ? "" : name);
    ASSERT_TRUE(files.setxattr(file, name, value, {})) << name;
    EXPECT_EQ(attribute(file, name), value) << name;
  }
  EXPECT_EQ(names(file), given);
  EXPECT_EQ(raw(file), "content");
  EXPECT_EQ(getxattr(file.c_str(), "user.user.odd", nullptr, 0), 13) << "as the host has it";

  Bytes small(4);
  for (const auto size : {4UZ, 0UZ}) {
    EXPECT_EQ(files.getxattr(file, "comment", std::span(small).first(size), {}).error().value, ERANGE);
  }
  EXPECT_EQ(files.setxattr(file, "quillbrook.state", small, {}).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(files.setxattr(file, "system.posix_acl_access", small, {}).error(), ErrorNumber::notSupported);
  EXPECT_EQ(files.setxattr(file, "user.comment", small, {}).error(), ErrorNumber::invalid);
  ASSERT_EQ(symlink("a", path("link").c_str()), 0);
  EXPECT_EQ(attribute(path("link"), "comment"), bytesOf("comment"));
  EXPECT_EQ(attribute(path("link"), "comment", unfollowed).error(), ErrorNumber::attributeMissing);
  ASSERT_TRUE(files.removexattr(file, "comment", {}));
  EXPECT_EQ(files.removexattr(file, "comment", {}).error(), ErrorNumber::attributeMissing);
}

TEST_F(Attributes, ReadOnlyFilesGetAndLoseThem) {
  const auto file = ordinary("a", "x");
  const bool isRoot = geteuid() == 0;
  for (const auto& each : {folder, file}) ASSERT_EQ(chown(each.c_str(), 65'534, 65'534), isRoot ? 0 : -1);
  ASSERT_EQ(chmod(file.c_str(), 04444), 0);
  // Without the privileges of root, which needs no permission bits.
  EXPECT_EQ(inOtherProcess([&] {
              if (isRoot && (setgid(65'534) != 0 || setuid(65'534) != 0)) return 9;
              if (!files.setxattr(file, marker, Bytes{1}, {})) return 1;
              if (!files.setCreationTime(file, {.seconds = 5, .nanoseconds = 0})) return 2;
              return files.removexattr(file, marker, unfollowed) ? 0 : 3;
            }),
            0);
  EXPECT_EQ(status(file).st_mode, 04444U);
  EXPECT_EQ(status(file).st_birthtimespec.seconds, 5);
}

}  // namespace
}  // namespace quillbrook::test
