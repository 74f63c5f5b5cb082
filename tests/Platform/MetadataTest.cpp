// SPDX-License-Identifier: MIT
#include <linux/fs.h>
#include <sys/ioctl.h>

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

class Metadata : public NativeFixture {
 protected:
  static bool changeHostFlags(const FilePath& file, int set, int clear) {
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    int flags = 0;
    if (ioctl(opened.get(), FS_IOC_GETFLAGS, &flags) != 0) return false;
    flags = (flags | set) & ~clear;
    return ioctl(opened.get(), FS_IOC_SETFLAGS, &flags) == 0;
  }
};

TEST_F(Metadata, OfEveryKind) {
  ASSERT_EQ(symlink("nowhere", path("link").c_str()), 0);
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  ordinary("file", "12345");
  EXPECT_EQ(status(path("link")).kind, FileKind::symbolicLink);
  EXPECT_EQ(status(path("fifo")).kind, FileKind::other);
  EXPECT_EQ(status(folder).kind, FileKind::directory);
  EXPECT_EQ(status(path("file")).kind, FileKind::regular);
  EXPECT_EQ(status(path("file")).st_size, 5);
  EXPECT_NE(status(path("file")).st_birthtimespec, Timestamp{});
  auto& files = FileSystem::native();
  EXPECT_EQ(files.lstat(path("none")).error(), ErrorNumber::noEntry);
  EXPECT_EQ(files.lstat(path("file").appending("x")).error().value, ENOTDIR);
  EXPECT_EQ(files.lstat(FilePath("")).error(), ErrorNumber::noEntry);
  EXPECT_EQ(files.openForReading(folder).error().value, EISDIR);
  EXPECT_FALSE(files.openForReading(path("fifo"))) << "and it did not wait for a writer";
  EXPECT_EQ(status(FilePath("/")).kind, FileKind::directory);
  EXPECT_TRUE(files.lstat(FilePath("relative.does.not.exist")).error() == ErrorNumber::noEntry);
}

TEST_F(Metadata, NamesAreBytes) {
  for (const auto& name : {std::string("\xFF\xFEname"), std::string("line\nfeed"), std::string(255, 'n')}) {
    const auto file = compressed(name, prose(5000));
    EXPECT_EQ(content(file), prose(5000)) << FilePath(name).displayText();
    EXPECT_EQ(FileSystem::native().createExclusively(file, 0600, file).error(), ErrorNumber::exists);
  }
  const auto tooLong = path(std::string(256, 'n'));
  EXPECT_EQ(FileSystem::native().createExclusively(tooLong, 0600, tooLong).error().value, ENAMETOOLONG);
}

TEST_F(Metadata, LookingAtThePayloadIsNoReadingOfTheFile) {
  const auto file = compressed("file", prose(5000));
  const Timestamp longAgo{.seconds = 1'000'000'000, .nanoseconds = 1};
  const auto modified = status(file).st_mtimespec;
  ASSERT_TRUE(FileSystem::native().setFileTimes(file, longAgo, modified));
  EXPECT_GT(attribute(file, decmpfs, shown).value().size(), std::size_t{DecmpfsHeader::byteCount});
  EXPECT_EQ(status(file).st_atimespec, longAgo);
}

TEST_F(Metadata, CreationDoesNotFollowALink) {
  ASSERT_EQ(symlink("elsewhere", path("link").c_str()), 0);
  EXPECT_EQ(FileSystem::native().createExclusively(path("link"), 0600, folder).error(), ErrorNumber::exists);
  EXPECT_FALSE(std::filesystem::exists(path("elsewhere").bytes()));
}

TEST_F(Metadata, FlagsOfOrdinaryFilesNeedNoStateUnlessTheHostHasNoPlace) {
  auto& files = FileSystem::native();
  const auto file = ordinary("f", "x");
  const auto hasState = [&file] { return getxattr(file.c_str(), "user.quillbrook.state", nullptr, 0) > 0; };
  ASSERT_TRUE(files.chflags(file, 0));
  EXPECT_FALSE(hasState());
  constexpr std::uint32_t hidden = 0x8000;
  ASSERT_TRUE(files.chflags(file, hidden));
  EXPECT_EQ(status(file).st_flags, hidden);
  EXPECT_EQ(content(file), "x");
  EXPECT_TRUE(hasState());
  ASSERT_TRUE(files.chflags(file, 0));
  EXPECT_FALSE(hasState());
  ASSERT_TRUE(files.setCreationTime(file, {.seconds = -100, .nanoseconds = 7}));
  EXPECT_EQ(status(file).st_birthtimespec, (Timestamp{.seconds = -100, .nanoseconds = 7}));
  EXPECT_EQ(status(file).st_size, 1);
  ASSERT_TRUE(files.chflags(file, UF_NODUMP));
  EXPECT_EQ(status(file).st_flags, UF_NODUMP);
  EXPECT_EQ(files.chflags(file, SF_IMMUTABLE).error(), ErrorNumber::notPermitted);
}

TEST_F(Metadata, HostFlagsAreShownAndCarried) {
  const auto file = ordinary("f", "x");
  if (!changeHostFlags(file, FS_NOATIME_FL | FS_SYNC_FL | FS_NODUMP_FL, 0)) {
    GTEST_SKIP() << "this file system has no such flags";
  }
  createWork(path("work"), file);
  int flags = 0;
  const FileDescriptor work(open(path("work").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(ioctl(work.get(), FS_IOC_GETFLAGS, &flags), 0);
  EXPECT_EQ(flags & (FS_NOATIME_FL | FS_SYNC_FL | FS_NODUMP_FL), FS_NOATIME_FL | FS_SYNC_FL | FS_NODUMP_FL);
  EXPECT_EQ(status(path("work")).st_flags, UF_NODUMP);

  if (!changeHostFlags(file, FS_IMMUTABLE_FL, 0)) GTEST_SKIP() << "needs root to make a file immutable";
  EXPECT_EQ(status(file).st_flags, UF_NODUMP | SF_IMMUTABLE);
  auto lock = FileSystem::native().openForLocking(file);
  ASSERT_TRUE(lock && (*lock)->flock());
  EXPECT_EQ(FileSystem::native().rename(path("work"), file, status(file), **lock).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(raw(file), "x");
  EXPECT_TRUE(changeHostFlags(file, 0, FS_IMMUTABLE_FL));
}

TEST_F(Metadata, AccessListsAreCopiedAndInheritedOnesDropped) {
  auto& files = FileSystem::native();
  // Version 2; user::rw-, user:1234:r--, group::---, mask::r--, other::---
  const Bytes list{2, 0, 0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,   4,  0, 210, 4, 0,   0,   4,   0,
                   0, 0, 255, 255, 255, 255, 16, 0, 4,   0,   255, 255, 255, 255, 32, 0, 0,   0, 255, 255, 255, 255};
  const auto source = ordinary("source", "x");
  if (setxattr(source.c_str(), "system.posix_acl_access", list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "this file system has no access lists";
  }
  const auto destination = ordinary("destination", "y");
  const auto listOf = [](const FilePath& file) {
    Bytes value(200);
    const auto got = getxattr(file.c_str(), "system.posix_acl_access", value.data(), value.size());
    value.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return value;
  };
  ASSERT_TRUE(files.copyACL(source, destination));
  EXPECT_EQ(listOf(destination), list);
  EXPECT_EQ(names(destination), std::set<std::string>{});
  ASSERT_TRUE(files.copyACL(ordinary("plain", "z"), destination));
  EXPECT_EQ(listOf(destination), Bytes{});
}

}  // namespace
}  // namespace quillbrook::test
