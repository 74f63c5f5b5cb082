// SPDX-License-Identifier: MIT

#include "Container/GoldenContainers.h"
#include "MountedFolder.h"

namespace quillbrook {
namespace {

// What other systems wrote, where programs read it.
TEST(ForeignTypesTest, AreReadThroughTheMountOrNotSupported) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  using enum CompressionType;
  auto rows = test::goldenContainers();
  for (const auto type : {uncompressedRsrc, lzbitmapAttr, lzbitmapRsrc}) {
    rows.emplace_back(name(type), test::build(type, 5, test::text(5), test::text(5)), test::Bytes());
  }
  const std::string unreadable = "unreadable: Operation not supported";
  const ScratchFolder source;
  for (const auto& [name, container, content] : rows) {
    source.write(name, {reinterpret_cast<const char*>(container.data.data()), container.data.size()});
    const auto state = container.state.encode();
    const std::string attribute(ContainerState::attributeName);
    ASSERT_EQ(setxattr(source.at(name).c_str(), attribute.c_str(), state.data(), state.size(), 0), 0);
  }
  const MountedFolder mounted(source.folder().bytes());
  ASSERT_TRUE(mounted.isMounted());
  for (const auto& [name, container, content] : rows) {
    const bool isReadable = !content.empty() || container.state.logicalByteCount == 0;
    const std::string expected = isReadable ? std::string(content.begin(), content.end()) : unreadable;
    EXPECT_TRUE(Content::read(mounted.at(name)) == expected)
        << name << ": " << Content::read(mounted.at(name)).substr(0, 80);
    EXPECT_EQ(Content::status(mounted.at(name)).st_size, static_cast<off_t>(container.state.logicalByteCount)) << name;
  }
}

}  // namespace
}  // namespace quillbrook
