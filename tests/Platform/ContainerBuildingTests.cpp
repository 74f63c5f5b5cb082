// SPDX-License-Identifier: MIT
#include <sys/statfs.h>

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

class ContainerBuilding : public NativeFixture {};

TEST_F(ContainerBuilding, IsEmptyUntilItIsSealed) {
  const auto text = prose(200'000);
  const auto file = work("w.slimtmp");
  EXPECT_EQ(files.openResourceFork(file).error(), ErrorNumber::notSupported);
  EXPECT_EQ(files.chflags(file, UF_COMPRESSED).error(), ErrorNumber::invalid);
  const auto value = valueOf(CompressionType::lzfseRsrc, text.size(), {});
  ASSERT_TRUE(files.setxattr(file, decmpfs, value, {}));
  EXPECT_EQ(status(file).st_flags, 0U);
  EXPECT_EQ(content(file), "");
  EXPECT_EQ(attribute(file, decmpfs), value) << "not hidden yet";

  // As the streaming writer does: zeros for the table, the chunks, the table over the zeros.
  const auto fork = lzfseForkOf(bytesOf(text));
  const std::size_t tableByteCount = (200'000 / 65'536 + 2) * 4;
  for (const auto surplus : {50'000UZ, 0UZ}) {  // opening it again begins anew
    const auto writer = std::move(files.openResourceFork(file).value());
    const auto writeAll = [&writer](std::span<const std::uint8_t> bytes) {
      while (!bytes.empty()) bytes = bytes.subspan(writer->write(bytes.first(std::min(bytes.size(), 9'999UZ))).value());
    };
    writeAll(Bytes(tableByteCount, 0));
    writeAll(std::span(fork).subspan(tableByteCount));
    writeAll(Bytes(surplus, 'x'));
    EXPECT_EQ(writer->lseek(0), 0U);
    writeAll(std::span(fork).first(tableByteCount));
    EXPECT_TRUE(writer->close() && writer->close());
  }
  EXPECT_EQ(attribute(file, resourceFork), fork);
  EXPECT_EQ(status(file).st_size, 0);
  EXPECT_EQ(files.setxattr(file, decmpfs, value, {}).error(), ErrorNumber::invalid) << "behind the value is the fork";

  EXPECT_EQ(files.chflags(file, UF_COMPRESSED | SF_IMMUTABLE).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(FileSystem::native().chflags(file, UF_COMPRESSED).error(), ErrorNumber::notSupported) << "only in a volume";
  EXPECT_EQ(status(file).st_flags, 0U);
  ASSERT_TRUE(files.chflags(file, UF_COMPRESSED));
  EXPECT_EQ(content(file), text);
  EXPECT_EQ(files.setxattr(file, decmpfs, value, {}).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(files.removexattr(file, resourceFork, shown).error(), ErrorNumber::notPermitted);
  EXPECT_TRUE(files.chflags(file, UF_COMPRESSED)) << "as it is already";
  EXPECT_EQ(files.chflags(file, 0).error(), ErrorNumber::notSupported);
  EXPECT_EQ(files.chflags(ordinary("o", "data"), UF_COMPRESSED).error(), ErrorNumber::invalid);
}

TEST_F(ContainerBuilding, SealingKeepsWhatWasSet) {
  const auto file = work("w");
  // Revision 2 of a file capability: cap_net_bind_service, permitted and effective.
  const auto capability = Bytes{1, 0, 0, 2, 0, 4} + Bytes(14);
  const bool isRoot = geteuid() == 0;
  ASSERT_EQ(files.setxattr(file, "security.capability", capability, {}).has_value(), isRoot);
  setPayload(file, text(70'000));
  const Timestamp access{.seconds = 1'000'000, .nanoseconds = 1};
  const Timestamp modification{.seconds = -5, .nanoseconds = 999'999'999};
  const Timestamp creation{.seconds = 77, .nanoseconds = 123'456'789};
  ASSERT_TRUE(files.setFileTimes(file, access, modification));
  ASSERT_TRUE(files.setCreationTime(file, creation));
  ASSERT_TRUE(files.chmod(file, 06511));
  ASSERT_TRUE(files.chflags(file, UF_COMPRESSED | UF_NODUMP));
  ASSERT_TRUE(files.removexattr(file, marker, unfollowed));
  const auto found = status(file);
  EXPECT_EQ(found.st_atimespec, access);
  EXPECT_EQ(found.st_mtimespec, modification);
  EXPECT_EQ(found.st_birthtimespec, creation);
  EXPECT_EQ(found.st_mode, 06511U);
  EXPECT_EQ(found.st_flags, UF_COMPRESSED | UF_NODUMP);
  EXPECT_EQ(attribute(file, "security.capability").value_or(capability), capability);
  EXPECT_EQ(names(file).contains("security.capability"), isRoot);
  EXPECT_EQ(content(file), prose(70'000));
}

// All attributes of an ext4 inode share one block: fill it, and the next one is lost, which only the log would tell.
TEST_F(ContainerBuilding, RefusesToLoseAnAttribute) {
  const auto file = work("w");
  setPayload(file, bytesOf("abc"));
  Result<void> outcome;
  for (int i = 0; i < 200 && outcome; ++i) outcome = files.setxattr(file, std::to_string(i), Bytes(1'000, 'x'), {});
  if (outcome) GTEST_SKIP() << "this file system has room for 200 of them";
  EXPECT_EQ(files.chflags(file, UF_COMPRESSED).error(), ErrorNumber::noSpace);
  // Its inode number may come again; what is remembered of it must not.
  ASSERT_TRUE(files.unlink(file));
  EXPECT_EQ(content(compressed("w", "abc")), "abc");
}

TEST_F(ContainerBuilding, ASmallFileNeedsNoBlockForAttributes) {
  struct statfs host{};
  ASSERT_EQ(statfs(folder.c_str(), &host), 0);
  constexpr long ext4 = 0xEF53;
  if (host.f_type != ext4) GTEST_SKIP() << "says something about ext4 only";
  EXPECT_EQ(status(compressed("f", prose(3'000))).st_blocks * 512, static_cast<std::int64_t>(host.f_bsize));
}

}  // namespace
}  // namespace quillbrook::test
