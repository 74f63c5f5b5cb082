// SPDX-License-Identifier: MIT
#include <linux/fs.h>
#include <sys/mman.h>

#include <thread>

#include "MountedFolder.h"
#include "Support/ChildProcess.h"

namespace quillbrook {
namespace {

class ServingTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  }

  const ScratchFolder source_;
  const std::string folder_ = source_.folder().bytes();
};

// Does `act` as a user who is nobody here; whether it returned 0.
bool succeedsAsNobody(const std::function<long()>& act) {
  constexpr uid_t nobody = 65534;
  return inOtherProcess([&] { return setgid(nobody) == 0 && setuid(nobody) == 0 && act() == 0 ? 0 : 1; }) == 0;
}

TEST_F(ServingTest, WhoeverChangesAFileTakesItsSetIdentifierBits) {
  if (geteuid() != 0) GTEST_SKIP() << "only a daemon of root's could keep them";
  ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
  const MountedFolder mounted(folder_, {"-o", "allow_other"});
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  const std::vector<std::pair<const char*, std::function<long()>>> changes{
      {"write", [&] { return write(Content::open(path, O_WRONLY).get(), "x", 1) - 1; }},
      {"truncate", [&] { return truncate(path.c_str(), 3); }},
      {"emptying", [&] { return Content::open(path, O_WRONLY | O_TRUNC).isOpen() ? 0 : -1; }},
      {"fallocate", [&] { return fallocate(Content::open(path, O_WRONLY).get(), 0, 0, 9000); }},
      {"write beside a reader, whom the kernel may serve",
       [&] {
         const FileDescriptor reader = Content::open(path);
         return write(Content::open(path, O_WRONLY).get(), "x", 1) - 1;
       }},
  };
  Content::write(path, "content");
  for (const auto& [name, change] : changes) {
    // Without leave to execute, the second bit means mandatory locking and stays.
    for (const auto& [before, after] : {std::pair(06777U, 0777U), std::pair(06767U, 02767U)}) {
      ASSERT_EQ(chmod(path.c_str(), before), 0);
      EXPECT_TRUE(succeedsAsNobody(change)) << name;
      EXPECT_EQ(Content::status(path).st_mode & 07777U, after) << name;
    }
  }
}

// A mode that is set while a foreign writer has the file open does not outlive what it writes.
TEST_F(ServingTest, SetIdentifierBitsGoWithAWriterWhoWasThereBefore) {
  if (geteuid() != 0) GTEST_SKIP() << "only a daemon of root's could keep them";
  ASSERT_EQ(chmod(folder_.c_str(), 0755), 0);
  const MountedFolder mounted(folder_, {"-o", "allow_other"});
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, "content");
  ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  std::array<int, 2> opened{};
  std::array<int, 2> changed{};
  ASSERT_EQ(pipe(opened.data()) + pipe(changed.data()), 0);
  char byte = 0;
  std::thread owner([&] {
    EXPECT_EQ(::read(opened[0], &byte, 1), 1);
    EXPECT_EQ(chmod(path.c_str(), 04777), 0);
    EXPECT_EQ(::write(changed[1], "c", 1), 1);
  });
  EXPECT_TRUE(succeedsAsNobody([&] {
    const FileDescriptor file = Content::open(path, O_WRONLY);
    const bool isAsked = ::write(opened[1], "o", 1) == 1 && ::read(changed[0], &byte, 1) == 1;
    return isAsked && ::write(file.get(), "evil", 4) == 4 ? 0L : 1L;
  }));
  owner.join();
  EXPECT_EQ(Content::status(path).st_mode & 07777U, 0777U);
}

TEST_F(ServingTest, AppendsOnlyWhileAskedTo) {
  const MountedFolder mounted(folder_);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, "0123456789");
  const FileDescriptor file = Content::open(path, O_RDWR | O_APPEND);
  ASSERT_EQ(fcntl(file.get(), F_SETFL, 0), 0);
  EXPECT_EQ(pwrite(file.get(), "XX", 2, 0), 2);
  ASSERT_EQ(fcntl(file.get(), F_SETFL, O_APPEND), 0);
  EXPECT_EQ(pwrite(file.get(), "YY", 2, 0), 2);
  EXPECT_EQ(Content::read(path), "XX23456789YY");
  EXPECT_EQ(Content::read(mounted.backing("f")), "XX23456789YY");
}

TEST_F(ServingTest, AppendsToWhatMayOnlyBeAppendedTo) {
  const MountedFolder mounted(folder_);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, "0123456789");
  int flags = FS_APPEND_FL;
  const FileDescriptor backing(open(mounted.backing("f").c_str(), O_RDONLY | O_CLOEXEC));
  if (ioctl(backing.get(), FS_IOC_SETFLAGS, &flags) != 0) GTEST_SKIP() << "needs root to make a file append-only";
  {
    const FileDescriptor log(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    EXPECT_EQ(write(log.get(), "more", 4), 4);
    EXPECT_EQ(open(path.c_str(), O_WRONLY | O_CLOEXEC), -1) << "beside one that appends";
  }
  EXPECT_EQ(open(path.c_str(), O_WRONLY | O_CLOEXEC), -1);
  EXPECT_EQ(truncate(path.c_str(), 0), -1);
  EXPECT_EQ(Content::read(path), "0123456789more");
  flags = 0;
  EXPECT_EQ(ioctl(backing.get(), FS_IOC_SETFLAGS, &flags), 0);
}

// Backup programs go by the time; a map tells nobody when it is written to, and outlives its handle.
TEST_F(ServingTest, ShowsTheTimesThatMappedWritesSet) {
  const MountedFolder mounted(folder_);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, std::string(8192, 'a'));
  FileDescriptor file = Content::open(path, O_RDWR);
  auto* const map = static_cast<char*>(mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0));
  ASSERT_NE(map, MAP_FAILED);
  for (const bool isOpen : {true, false}) {
    if (!isOpen) file.reset();
    const std::array<timespec, 2> past{timespec{1, 0}, timespec{1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), past.data(), 0), 0);
    ASSERT_EQ(Content::status(path).st_mtim.tv_sec, 1);
    map[0] = 'b';
    ASSERT_EQ(msync(map, 8192, MS_SYNC), 0);
    EXPECT_NE(Content::status(path).st_mtim.tv_sec, 1) << (isOpen ? "with its handle" : "without");
  }
  munmap(map, 8192);
}

TEST_F(ServingTest, OutlivesItsLimitOfFileSizes) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small{.rlim_cur = 1'000'000, .rlim_max = limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const MountedFolder mounted(folder_);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, "content");
  EXPECT_EQ(outcome(truncate(path.c_str(), 2'000'000)), -EFBIG);
  EXPECT_EQ(Content::read(path), "content");
}

TEST_F(ServingTest, AskedToEndServesUntilTheLastHandleIsClosed) {
  const std::string bytes = Content::text(500'000);
  MountedFolder mounted(folder_);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  Content::write(path, bytes);
  Content::compress(path);
  FileDescriptor reader = Content::open(path);
  mounted.detach();
  EXPECT_NE(Content::read(path), bytes) << "still shown";
  EXPECT_EQ(Content::read(reader), bytes);
  EXPECT_TRUE(mounted.isServing());
  EXPECT_FALSE(MountedFolder(folder_).isMounted()) << "two daemons serve one folder";
  reader.reset();
  EXPECT_EQ(mounted.stop(), 0);
  const MountedFolder again(folder_);
  ASSERT_TRUE(again.isMounted());
  EXPECT_EQ(Content::read(path), bytes);
}

TEST_F(ServingTest, TwoVolumesKnowNothingOfEachOther) {
  const ScratchFolder other;
  MountedFolder first(folder_);
  const MountedFolder second(other.folder().bytes());
  ASSERT_TRUE(first.isMounted() && second.isMounted());
  const std::string bytes = Content::text(100'000);
  for (const MountedFolder* volume : std::initializer_list<const MountedFolder*>{&first, &second}) {
    Content::write(volume->at("f"), bytes + volume->source());
    Content::compress(volume->at("f"));
  }
  EXPECT_EQ(outcome(rename(first.at("f").c_str(), second.at("g").c_str())), -EXDEV);
  EXPECT_EQ(Content::read(first.at("f")), bytes + first.source());
  EXPECT_EQ(first.stop(), 0);
  EXPECT_EQ(Content::read(second.at("f")), bytes + second.source());
  Content::write(second.at("f"), "changed");
  EXPECT_EQ(Content::read(second.at("f")), "changed");
}

}  // namespace
}  // namespace quillbrook
