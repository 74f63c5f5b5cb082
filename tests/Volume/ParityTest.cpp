// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/falloc.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <set>

#include "MountedFolder.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {
namespace {

// What a call says: its value, or the error's number below zero.
long outcome(long value) {
  return value < 0 ? -errno : value;
}

FileDescriptor opened(const std::string& path, int flags, mode_t mode = 0644) {
  return FileDescriptor(open(path.c_str(), flags | O_CLOEXEC, mode));
}

std::string described(const std::string& path) {
  struct stat status{};
  if (lstat(path.c_str(), &status) != 0) return "none";
  return std::to_string(status.st_mode) + " " + std::to_string(status.st_nlink) + " " +
         std::to_string(S_ISDIR(status.st_mode) ? 0 : status.st_size) + " " + std::to_string(status.st_uid);
}

struct Step {
  const char* name;
  std::function<long(const std::string& folder)> run;
};

// Every step works on what the steps before have left.
const std::vector<Step>& steps() {
  static const std::vector<Step> all{
      {"create", [](auto& f) { return outcome(opened(f + "/a", O_WRONLY | O_CREAT | O_EXCL, 0640).isOpen()); }},
      {"create again", [](auto& f) { return outcome(opened(f + "/a", O_WRONLY | O_CREAT | O_EXCL).get()); }},
      {"create read-only for all and write",
       [](auto& f) { return outcome(write(opened(f + "/r", O_RDWR | O_CREAT, 0444).get(), "xyz", 3)); }},
      {"write and read back",
       [](auto& f) {
         const auto file = opened(f + "/a", O_RDWR);
         std::array<char, 16> bytes{};
         pwrite(file.get(), "hello world", 11, 0);
         return outcome(pread(file.get(), bytes.data(), bytes.size(), 6)) * 1000 + bytes[0];
       }},
      {"append", [](auto& f) { return outcome(write(opened(f + "/a", O_WRONLY | O_APPEND).get(), "!!", 2)); }},
      {"append at a position",
       [](auto& f) { return outcome(pwrite(opened(f + "/a", O_WRONLY | O_APPEND).get(), "?", 1, 0)); }},
      {"truncate longer", [](auto& f) { return outcome(truncate((f + "/a").c_str(), 10'000)); }},
      {"seek hole", [](auto& f) { return outcome(lseek(opened(f + "/a", O_RDONLY).get(), 0, SEEK_HOLE)); }},
      {"seek data behind the end",
       [](auto& f) { return outcome(lseek(opened(f + "/a", O_RDONLY).get(), 20'000, SEEK_DATA)); }},
      {"allocate", [](auto& f) { return outcome(fallocate(opened(f + "/a", O_RDWR).get(), 0, 0, 20'000)); }},
      {"punch",
       [](auto& f) {
         return outcome(fallocate(opened(f + "/a", O_RDWR).get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096));
       }},
      {"copy range",
       [](auto& f) {
         const auto from = opened(f + "/a", O_RDONLY);
         const auto to = opened(f + "/copy", O_RDWR | O_CREAT);
         return outcome(copy_file_range(from.get(), nullptr, to.get(), nullptr, 5000, 0));
       }},
      {"make folder", [](auto& f) { return outcome(mkdir((f + "/d").c_str(), 0750)); }},
      {"make it again", [](auto& f) { return outcome(mkdir((f + "/d").c_str(), 0750)); }},
      {"link", [](auto& f) { return outcome(link((f + "/a").c_str(), (f + "/d/b").c_str())); }},
      {"link a folder", [](auto& f) { return outcome(link((f + "/d").c_str(), (f + "/e").c_str())); }},
      {"rename over", [](auto& f) { return outcome(rename((f + "/copy").c_str(), (f + "/d/b").c_str())); }},
      {"rename without replacing",
       [](auto& f) {
         return outcome(renameat2(AT_FDCWD, (f + "/a").c_str(), AT_FDCWD, (f + "/d/b").c_str(), RENAME_NOREPLACE));
       }},
      {"exchange",
       [](auto& f) {
         return outcome(renameat2(AT_FDCWD, (f + "/a").c_str(), AT_FDCWD, (f + "/d/b").c_str(), RENAME_EXCHANGE));
       }},
      {"rename into itself", [](auto& f) { return outcome(rename((f + "/d").c_str(), (f + "/d/x").c_str())); }},
      {"remove a full folder", [](auto& f) { return outcome(rmdir((f + "/d").c_str())); }},
      {"unlink a folder", [](auto& f) { return outcome(unlink((f + "/d").c_str())); }},
      {"symbolic link", [](auto& f) { return outcome(symlink("d/b", (f + "/s").c_str())); }},
      {"through it", [](auto& f) { return outcome(opened(f + "/s", O_RDONLY).isOpen()); }},
      {"not through it", [](auto& f) { return outcome(opened(f + "/s", O_RDONLY | O_NOFOLLOW).get()); }},
      {"read it",
       [](auto& f) {
         std::array<char, 64> target{};
         return outcome(readlink((f + "/s").c_str(), target.data(), target.size()));
       }},
      {"fifo", [](auto& f) { return outcome(mkfifo((f + "/p").c_str(), 0600)); }},
      {"device", [](auto& f) { return outcome(mknod((f + "/null").c_str(), S_IFCHR | 0666, 0x103)); }},
      {"write to the device", [](auto& f) { return outcome(write(opened(f + "/null", O_WRONLY).get(), "x", 1)); }},
      {"mode", [](auto& f) { return outcome(chmod((f + "/d/b").c_str(), 06755)); }},
      {"owner, which takes set-id bits", [](auto& f) { return outcome(chown((f + "/d/b").c_str(), 12, 34)); }},
      {"times",
       [](auto& f) {
         const std::array<timespec, 2> times{timespec{1, 2}, timespec{3, 123'456'789}};
         const long set = outcome(utimensat(AT_FDCWD, (f + "/d/b").c_str(), times.data(), 0));
         struct stat status{};
         stat((f + "/d/b").c_str(), &status);
         return set + status.st_mtim.tv_nsec + status.st_atim.tv_nsec;
       }},
      {"set attribute", [](auto& f) { return outcome(setxattr((f + "/a").c_str(), "user.x", "abc", 3, 0)); }},
      {"set it exclusively",
       [](auto& f) { return outcome(setxattr((f + "/a").c_str(), "user.x", "abc", 3, XATTR_CREATE)); }},
      {"its length", [](auto& f) { return outcome(getxattr((f + "/a").c_str(), "user.x", nullptr, 0)); }},
      {"too little room",
       [](auto& f) {
         std::array<char, 2> bytes{};
         return outcome(getxattr((f + "/a").c_str(), "user.x", bytes.data(), bytes.size()));
       }},
      {"list", [](auto& f) { return outcome(listxattr((f + "/a").c_str(), nullptr, 0)); }},
      {"remove attribute", [](auto& f) { return outcome(removexattr((f + "/a").c_str(), "user.x")); }},
      {"remove it again", [](auto& f) { return outcome(removexattr((f + "/a").c_str(), "user.x")); }},
      {"host flags",
       [](auto& f) {
         int flags = FS_NODUMP_FL;
         const auto file = opened(f + "/a", O_RDONLY);
         const long set = outcome(ioctl(file.get(), FS_IOC_SETFLAGS, &flags));
         ioctl(file.get(), FS_IOC_GETFLAGS, &flags);
         return set * 1000 + (flags & FS_NODUMP_FL);
       }},
      {"unknown ioctl", [](auto& f) { return outcome(ioctl(opened(f + "/a", O_RDONLY).get(), 0x1234, nullptr)); }},
      {"name too long", [](auto& f) { return outcome(mkdir((f + "/" + std::string(256, 'n')).c_str(), 0700)); }},
      {"longest name", [](auto& f) { return outcome(mkdir((f + "/" + std::string(255, 'n')).c_str(), 0700)); }},
      {"bytes in names", [](auto& f) { return outcome(mkdir((f + "/\xff\n\x01").c_str(), 0700)); }},
      {"read an unlinked file",
       [](auto& f) {
         const auto file = opened(f + "/u", O_RDWR | O_CREAT);
         pwrite(file.get(), "gone", 4, 0);
         unlink((f + "/u").c_str());
         struct stat status{};
         fstat(file.get(), &status);
         std::array<char, 8> bytes{};
         return outcome(pread(file.get(), bytes.data(), bytes.size(), 0)) * 10 + static_cast<long>(status.st_nlink);
       }},
      {"shared map",
       [](auto& f) {
         const auto file = opened(f + "/m", O_RDWR | O_CREAT);
         if (ftruncate(file.get(), 10'000) != 0) return -1L;
         void* map = mmap(nullptr, 10'000, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
         if (map == MAP_FAILED) return outcome(-1);
         static_cast<char*>(map)[9000] = 'x';
         munmap(map, 10'000);
         char byte = 0;
         return outcome(pread(file.get(), &byte, 1, 9000)) * 1000 + byte;
       }},
      {"create in a removed folder",
       [](auto& f) {
         mkdir((f + "/z").c_str(), 0700);
         const auto folder = opened(f + "/z", O_RDONLY | O_DIRECTORY);
         rmdir((f + "/z").c_str());
         return outcome(openat(folder.get(), "x", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
       }},
      {"sync", [](auto& f) { return outcome(fsync(opened(f + "/a", O_RDONLY).get())); }},
      {"sync folder", [](auto& f) { return outcome(fsync(opened(f, O_RDONLY | O_DIRECTORY).get())); }},
  };
  return all;
}

std::set<std::string> names(const std::string& folder) {
  std::set<std::string> result;
  DIR* listing = opendir(folder.c_str());
  if (listing == nullptr) return result;
  while (const dirent* entry = readdir(listing)) result.insert(entry->d_name);
  closedir(listing);
  return result;
}

TEST(ParityTest, EveryCallAnswersAsInAnOrdinaryFolder) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const TemporaryFolder ordinary;
  const TemporaryFolder source;
  const MountedFolder mounted(source.path());
  ASSERT_TRUE(mounted.isMounted());
  for (const Step& step : steps()) {
    errno = 0;
    const long expected = step.run(ordinary.path());
    errno = 0;
    EXPECT_EQ(step.run(mounted.source()), expected) << step.name;
    ASSERT_EQ(names(mounted.source()), names(ordinary.path())) << step.name;
    for (const std::string& name : names(ordinary.path())) {
      EXPECT_EQ(described(mounted.at(name)), described(ordinary.path() + "/" + name)) << step.name << ": " << name;
    }
  }
  EXPECT_EQ(Content::read(mounted.at("a")), Content::read(ordinary.path() + "/a"));
  EXPECT_EQ(Content::read(mounted.at("d/b")), Content::read(ordinary.path() + "/d/b"));
}

TEST(ParityTest, TheVolumesOwnFolderIsOutOfReach) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const TemporaryFolder source;
  const MountedFolder mounted(source.path());
  ASSERT_TRUE(mounted.isMounted());
  const std::string hidden = mounted.at(".quillbrook-volume");
  mkdir(mounted.at("d").c_str(), 0700);
  EXPECT_EQ(outcome(access(hidden.c_str(), F_OK)), -ENOENT);
  EXPECT_EQ(outcome(mkdir(hidden.c_str(), 0700)), -EPERM);
  EXPECT_EQ(outcome(open(hidden.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)), -EPERM);
  EXPECT_EQ(outcome(rename(mounted.at("d").c_str(), hidden.c_str())), -EPERM);
  EXPECT_EQ(outcome(rename(hidden.c_str(), mounted.at("e").c_str())), -ENOENT);
  EXPECT_EQ(outcome(rmdir(hidden.c_str())), -ENOENT);
  EXPECT_EQ(names(mounted.source()), (std::set<std::string>{".", "..", "d"}));
  struct stat status{};
  ASSERT_EQ(stat(mounted.backing(".quillbrook-volume").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

// Entries come and go while somebody reads a listing: none that stays may be missed or told twice.
TEST(ParityTest, AListingSurvivesChangesMeanwhile) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const TemporaryFolder source;
  const MountedFolder mounted(source.path());
  ASSERT_TRUE(mounted.isMounted());
  constexpr int count = 3000;
  for (int index = 0; index < count; ++index) Content::write(mounted.at("stays" + std::to_string(index)), "");
  for (int index = 0; index < count; ++index) Content::write(mounted.at("goes" + std::to_string(index)), "");
  std::multiset<std::string> seen;
  DIR* listing = opendir(mounted.source().c_str());
  ASSERT_NE(listing, nullptr);
  int step = 0;
  while (const dirent* entry = readdir(listing)) {
    const std::string name = entry->d_name;
    if (name.starts_with("stays")) seen.insert(name);
    if (step < count) {
      unlink(mounted.at("goes" + std::to_string(step)).c_str());
      Content::write(mounted.at("new" + std::to_string(step)), "");
    }
    ++step;
  }
  closedir(listing);
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), static_cast<std::size_t>(count));
}

TEST(ParityTest, OneDaemonAFolderAndNoVolumeInAnother) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const TemporaryFolder source;
  mkdir((source.path() + "/inner").c_str(), 0700);
  const MountedFolder outer(source.path());
  ASSERT_TRUE(outer.isMounted());
  const MountedFolder inner(source.path() + "/inner");
  EXPECT_FALSE(inner.isMounted());
  const TemporaryFolder elsewhere;
  const MountedFolder again(elsewhere.path(), {outer.backing(".")});
  EXPECT_FALSE(again.isMounted());
}

}  // namespace
}  // namespace quillbrook
