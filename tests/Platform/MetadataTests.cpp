// SPDX-License-Identifier: MIT
#include <linux/fs.h>

#include "NativeFixture.h"

namespace quillbrook::test {
namespace {

class Metadata : public NativeFixture {
 protected:
  // The host's flags after a change, or -1 where it is refused.
  static int hostFlags(const FilePath& file, int set = 0, int clear = 0) {
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    int flags = 0;
    if (ioctl(opened.get(), FS_IOC_GETFLAGS, &flags) != 0) return -1;
    flags = (flags | set) & ~clear;
    return (set | clear) == 0 || ioctl(opened.get(), FS_IOC_SETFLAGS, &flags) == 0 ? flags : -1;
  }
};

TEST_F(Metadata, OfEveryKind) {
  const auto file = ordinary("file", "12345");
  const auto link = path("link");
  const auto fifo = path("fifo");
  ASSERT_EQ(symlink("nowhere", link.c_str()), 0);
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(status(link).kind, FileKind::symbolicLink);
  EXPECT_EQ(status(fifo).kind, FileKind::other);
  EXPECT_EQ(status(FilePath("/")).kind, FileKind::directory);
  EXPECT_EQ(status(file).kind, FileKind::regular);
  EXPECT_EQ(status(file).st_size, 5);
  EXPECT_NE(status(file).st_birthtimespec, Timestamp{});
  for (const auto& missing : {path("none"), FilePath(""), FilePath("relative.does.not.exist")}) {
    EXPECT_EQ(files.lstat(missing).error(), ErrorNumber::noEntry);
  }
  EXPECT_EQ(files.lstat(file.appending("x")).error().value, ENOTDIR);
  EXPECT_EQ(files.lstat(FilePath(file.bytes() + "/")).error().value, ENOTDIR);
  const auto toFolder = path("to folder");
  ASSERT_EQ(symlink(folder.c_str(), toFolder.c_str()), 0);
  EXPECT_EQ(status(toFolder).kind, FileKind::symbolicLink);
  EXPECT_EQ(status(FilePath(toFolder.bytes() + "/")).st_ino, status(folder).st_ino) << "as the host takes it";
  EXPECT_EQ(files.createExclusively(path(std::string(256, 'n')), 0600, folder).error().value, ENAMETOOLONG);
  EXPECT_EQ(files.openForReading(folder).error().value, EISDIR);
  EXPECT_FALSE(files.openForReading(fifo)) << "and it did not wait for a writer";
  EXPECT_EQ(files.createExclusively(link, 0600, folder).error(), ErrorNumber::exists);
  EXPECT_FALSE(std::filesystem::exists(path("nowhere").bytes())) << "creation does not follow a link";
}

TEST_F(Metadata, LookingAtThePayloadIsNoReadingOfTheFile) {
  const auto file = compressed("file", prose(5000));
  const Timestamp longAgo{.seconds = 1'000'000'000, .nanoseconds = 1};
  const auto modified = status(file).st_mtimespec;
  ASSERT_TRUE(FileSystem::native().setFileTimes(file, longAgo, modified));
  EXPECT_GT(attribute(file, decmpfs, shown).value().size(), std::size_t{DecmpfsHeader::byteCount});
  EXPECT_EQ(status(file).st_atimespec, longAgo);
}

// Whoever may write in the folder can put something else at the work file's name.
TEST_F(Metadata, OfAWorkFileIsChangedOnlyWhereThisProcessMadeIt) {
  const auto target = ordinary("t", "target");
  const auto victim = ordinary("victim", "somebody else's");
  ASSERT_EQ(::chmod(victim.c_str(), 0600), 0);
  const auto mine = work("t.slimtmp");
  EXPECT_TRUE(files.chmod(mine, 04711));
  const auto lock = locked(target);
  const auto before = status(victim);
  for (const bool isLink : {true, false}) {
    std::filesystem::remove(mine.bytes());
    if (isLink) {
      ASSERT_EQ(::symlink(victim.c_str(), mine.c_str()), 0);
    } else {
      ASSERT_EQ(::link(victim.c_str(), mine.c_str()), 0);
    }
    EXPECT_EQ(files.chmod(mine, 04711).error(), ErrorNumber::stale);
    EXPECT_EQ(files.chown(mine, ::geteuid(), ::getegid()).error(), ErrorNumber::stale);
    EXPECT_EQ(FileSystem::native().chflags(mine, UF_NODUMP).error(), ErrorNumber::stale);
    EXPECT_EQ(files.setCreationTime(mine, {.seconds = 1, .nanoseconds = 0}).error(), ErrorNumber::stale);
    EXPECT_EQ(files.setxattr(mine, "name", Bytes{1}, {}).error(), ErrorNumber::stale);
    EXPECT_EQ(files.removexattr(mine, marker, unfollowed).error(), ErrorNumber::stale);
    EXPECT_EQ(files.copyACL(target, mine).error(), ErrorNumber::stale);
    EXPECT_EQ(files.openResourceFork(mine).error(), ErrorNumber::stale);
    EXPECT_EQ(files.rename(mine, target, status(target), *lock).error(),
              isLink ? ErrorNumber::invalid : ErrorNumber::stale);
    EXPECT_EQ(files.openForReading(mine).error(), ErrorNumber::stale);
  }
  EXPECT_EQ(files.unlink(mine).error(), ErrorNumber::stale);
  // And at the target's own: it may be looked at, but nothing is taken from there.
  std::filesystem::rename(victim.bytes(), target.bytes());
  EXPECT_EQ(status(target).st_ino, before.st_ino);
  EXPECT_EQ(files.openForReading(target).error(), ErrorNumber::stale);
  EXPECT_EQ(files.getxattr(target, "name", {}, {}).error(), ErrorNumber::stale);
  EXPECT_EQ(files.listxattr(target, {}, {}).error(), ErrorNumber::stale);
  EXPECT_EQ(files.copyACL(target, ordinary("other", "")).error(), ErrorNumber::stale);
  EXPECT_EQ(status(target).st_mode, before.st_mode);
  EXPECT_EQ(raw(target), "somebody else's");
}

TEST_F(Metadata, FlagsOfOrdinaryFilesNeedNoStateUnlessTheHostHasNoPlace) {
  const auto file = ordinary("f", "x");
  constexpr std::uint32_t hidden = 0x8000;
  for (const std::uint32_t flags : {0U, hidden, 0U}) {
    ASSERT_TRUE(files.chflags(file, flags));
    EXPECT_EQ(status(file).st_flags, flags);
    EXPECT_EQ(getxattr(file.c_str(), "user.quillbrook.state", nullptr, 0) > 0, flags == hidden);
  }
  ASSERT_TRUE(files.setCreationTime(file, {.seconds = -100, .nanoseconds = 7}));
  EXPECT_EQ(status(file).st_birthtimespec, (Timestamp{.seconds = -100, .nanoseconds = 7}));
  EXPECT_EQ(content(file), "x");
  ASSERT_TRUE(files.chflags(file, UF_NODUMP));
  EXPECT_EQ(status(file).st_flags, UF_NODUMP);
  EXPECT_EQ(files.chflags(file, SF_IMMUTABLE).error(), ErrorNumber::notPermitted);
}

TEST_F(Metadata, HostFlagsAreShownAndCarried) {
  constexpr int carried = FS_NOATIME_FL | FS_SYNC_FL | FS_NODUMP_FL;
  const auto file = ordinary("f", "x");
  if (hostFlags(file, carried) == -1) GTEST_SKIP() << "this file system has no such flags";
  const auto copy = work("work", file);
  EXPECT_EQ(hostFlags(copy) & carried, carried);
  EXPECT_EQ(status(copy).st_flags, UF_NODUMP);

  if (hostFlags(file, FS_IMMUTABLE_FL) == -1) GTEST_SKIP() << "needs root to make a file immutable";
  EXPECT_EQ(status(file).st_flags, UF_NODUMP | SF_IMMUTABLE);
  EXPECT_EQ(files.rename(copy, file, status(file), *locked(file)).error(), ErrorNumber::notPermitted);
  EXPECT_EQ(raw(file), "x");
  EXPECT_NE(hostFlags(file, 0, FS_IMMUTABLE_FL), -1);
}

TEST_F(Metadata, AccessListsAreCopiedAndInheritedOnesDropped) {
  constexpr const char* attributeName = "system.posix_acl_access";
  // Version 2; user::rw-, user:1234:r--, group::---, mask::r--, other::---
  const Bytes list{2, 0, 0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,   4,  0, 210, 4, 0,   0,   4,   0,
                   0, 0, 255, 255, 255, 255, 16, 0, 4,   0,   255, 255, 255, 255, 32, 0, 0,   0, 255, 255, 255, 255};
  const auto source = ordinary("source", "x");
  if (setxattr(source.c_str(), attributeName, list.data(), list.size(), 0) != 0) {
    GTEST_SKIP() << "this file system has no access lists";
  }
  const auto destination = ordinary("destination", "y");
  Bytes copy(list.size());
  ASSERT_TRUE(files.copyACL(source, destination));
  EXPECT_EQ(getxattr(destination.c_str(), attributeName, copy.data(), copy.size()), std::ssize(list));
  EXPECT_EQ(copy, list);
  EXPECT_EQ(names(destination), std::set<std::string>{});
  ASSERT_TRUE(files.copyACL(ordinary("plain", "z"), destination));
  EXPECT_EQ(getxattr(destination.c_str(), attributeName, nullptr, 0), -1);
}

}  // namespace
}  // namespace quillbrook::test
