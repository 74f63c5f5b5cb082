// SPDX-License-Identifier: MIT
#include <sys/statfs.h>

#include "NativeFixture.h"
#include "Platform/Linux/StoredState.h"

namespace quillbrook::test {
namespace {

class ContainerBuilding : public NativeFixture {};

TEST_F(ContainerBuilding, BecomesTheFileItStandsFor) {
  for (const auto size : {0UZ, 1UZ, 4095UZ, 16'384UZ, 16'385UZ, 65'536UZ, 65'537UZ, 300'000UZ}) {
    const auto text = prose(size);
    const auto file = compressed("f" + std::to_string(size), text);
    const auto found = status(file);
    EXPECT_EQ(found.st_size, static_cast<std::int64_t>(size));
    EXPECT_EQ(found.st_flags, UF_COMPRESSED);
    EXPECT_EQ(content(file), text) << size;
    EXPECT_EQ(names(file), std::set<std::string>{}) << "the payload is hidden";
    EXPECT_EQ(attribute(file, decmpfs).error(), ErrorNumber::attributeMissing);
    const auto isInline = size <= 16'384;
    const auto value = attribute(file, decmpfs, shown);
    EXPECT_EQ(value, isInline ? valueOf(CompressionType::lzfseAttr, text, lzfse(text))
                              : valueOf(CompressionType::lzfseRsrc, text, {}));
    const auto fork = attribute(file, resourceFork, shown);
    EXPECT_EQ(fork.has_value(), !isInline);
    if (fork) {
      EXPECT_EQ(*fork, forkOf(text));
    }
    EXPECT_EQ(raw(file).size(), StoredState::readAt(file.c_str()).value()->rawByteCount());
  }
}

TEST_F(ContainerBuilding, IsEmptyUntilItIsSealed) {
  auto& files = FileSystem::native();
  const auto text = prose(200'000);
  const auto work = path("w.slimtmp");
  createWork(work, work);
  EXPECT_EQ(files.openResourceFork(work).error(), ErrorNumber::notSupported);
  EXPECT_EQ(files.chflags(work, UF_COMPRESSED).error(), ErrorNumber::invalid);
  const auto value = valueOf(CompressionType::lzfseRsrc, text, {});
  ASSERT_TRUE(files.setxattr(work, decmpfs, value, {}));
  EXPECT_EQ(status(work).st_size, 0);
  EXPECT_EQ(status(work).st_flags, 0U);
  EXPECT_EQ(content(work), "");
  EXPECT_EQ(attribute(work, decmpfs), value) << "not hidden yet";

  // As the streaming writer does: zeros for the table, the chunks, the table over the zeros.
  const auto fork = forkOf(text);
  const std::size_t tableByteCount = LittleEndian::load<std::uint32_t>(fork.data());
  for (int pass = 0; pass < 2; ++pass) {  // opening it again begins anew
    auto writer = files.openResourceFork(work);
    ASSERT_TRUE(writer);
    const auto writeAll = [&writer](std::span<const std::uint8_t> bytes) {
      while (!bytes.empty())
        bytes = bytes.subspan((*writer)->write(bytes.first(std::min<std::size_t>(bytes.size(), 9999))).value());
    };
    writeAll(Bytes(tableByteCount, 0));
    writeAll(std::span(fork).subspan(tableByteCount));
    if (pass == 0) writeAll(Bytes(50'000, 'x'));
    EXPECT_EQ((*writer)->lseek(0), 0U);
    writeAll(std::span(fork).first(tableByteCount));
    ASSERT_TRUE((*writer)->close());
    ASSERT_TRUE((*writer)->close());
  }
  EXPECT_EQ(attribute(work, resourceFork), fork);
  EXPECT_EQ(status(work).st_size, 0);
  EXPECT_EQ(files.setxattr(work, decmpfs, value, {}).error(), ErrorNumber::invalid) << "behind the value is the fork";
  ASSERT_TRUE(files.chflags(work, UF_COMPRESSED));
  EXPECT_EQ(content(work), text);
  EXPECT_EQ(files.setxattr(work, decmpfs, value, {}).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(files.removexattr(work, resourceFork, shown).error(), ErrorNumber::notPermitted);
  EXPECT_TRUE(files.chflags(work, UF_COMPRESSED)) << "as it is already";
  EXPECT_EQ(files.chflags(work, 0).error(), ErrorNumber::notSupported);
}

TEST_F(ContainerBuilding, OnlyInAVolume) {
  auto& files = FileSystem::native();
  const auto work = path("w");
  createWork(work, work);
  ASSERT_TRUE(files.setxattr(work, decmpfs, valueOf(CompressionType::lzfseAttr, "abc", lzfse("abc")), {}));
  EXPECT_EQ(files.chflags(work, UF_COMPRESSED | SF_IMMUTABLE).error(), ErrorNumber::notPermitted);
  volume.reset();
  EXPECT_EQ(files.chflags(work, UF_COMPRESSED).error(), ErrorNumber::notSupported);
  EXPECT_EQ(status(work).st_flags, 0U);
  volume = std::make_unique<VolumeRegistration>(folder);
  EXPECT_TRUE(files.chflags(work, UF_COMPRESSED));
  EXPECT_EQ(files.chflags(ordinary("o", "data"), UF_COMPRESSED).error(), ErrorNumber::invalid);
}

TEST_F(ContainerBuilding, SealingKeepsWhatWasSet) {
  auto& files = FileSystem::native();
  const auto work = path("w");
  createWork(work, work);
  const bool isRoot = geteuid() == 0;
  // Revision 2 of a file capability: cap_net_bind_service, permitted and effective.
  const Bytes capability{1, 0, 0, 2, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  if (isRoot) {
    ASSERT_TRUE(files.setxattr(work, "security.capability", capability, {}));
  }
  ASSERT_TRUE(files.setxattr(work, decmpfs, valueOf(CompressionType::lzfseRsrc, prose(70'000), {}), {}));
  ASSERT_TRUE(files.setxattr(work, resourceFork, forkOf(prose(70'000)), {}));
  const Timestamp access{.seconds = 1'000'000, .nanoseconds = 1};
  const Timestamp modification{.seconds = -5, .nanoseconds = 999'999'999};
  const Timestamp creation{.seconds = 77, .nanoseconds = 123'456'789};
  ASSERT_TRUE(files.setFileTimes(work, access, modification));
  ASSERT_TRUE(files.setCreationTime(work, creation));
  ASSERT_TRUE(files.chmod(work, 06511));
  ASSERT_TRUE(files.chflags(work, UF_COMPRESSED | UF_NODUMP));
  ASSERT_TRUE(files.removexattr(work, marker, {.noFollow = true, .showCompression = false}));
  const auto found = status(work);
  EXPECT_EQ(found.st_atimespec, access);
  EXPECT_EQ(found.st_mtimespec, modification);
  EXPECT_EQ(found.st_birthtimespec, creation);
  EXPECT_EQ(found.st_mode, 06511U);
  EXPECT_EQ(found.st_flags, UF_COMPRESSED | UF_NODUMP);
  if (isRoot) {
    EXPECT_EQ(attribute(work, "security.capability"), capability);
  }
  EXPECT_EQ(content(work), prose(70'000));
}

// All attributes of an ext4 inode share one block: fill it, and the next one is lost, which only the log would tell.
TEST_F(ContainerBuilding, RefusesToLoseAnAttribute) {
  auto& files = FileSystem::native();
  const auto work = path("w");
  createWork(work, work);
  ASSERT_TRUE(files.setxattr(work, decmpfs, valueOf(CompressionType::lzfseAttr, "abc", lzfse("abc")), {}));
  Result<void> outcome;
  for (int i = 0; i < 200 && outcome; ++i)
    outcome = files.setxattr(work, "a" + std::to_string(i), Bytes(1000, 'x'), {});
  if (outcome) GTEST_SKIP() << "this file system has room for 200 of them";
  EXPECT_EQ(files.chflags(work, UF_COMPRESSED).error(), ErrorNumber::noSpace);
  // Its inode number may come again; what is remembered of it must not.
  ASSERT_TRUE(files.unlink(work));
  EXPECT_EQ(content(compressed("w", "abc")), "abc");
}

TEST_F(ContainerBuilding, ASmallFileNeedsNoBlockForAttributes) {
  struct statfs host{};
  ASSERT_EQ(statfs(folder.c_str(), &host), 0);
  constexpr long ext4 = 0xEF53;
  if (host.f_type != ext4) GTEST_SKIP() << "says something about ext4 only";
  const auto file = compressed("f", prose(3000));
  EXPECT_EQ(status(file).st_blocks * 512, static_cast<std::int64_t>(host.f_bsize));
}

}  // namespace
}  // namespace quillbrook::test
