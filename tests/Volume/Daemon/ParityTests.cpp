// SPDX-License-Identifier: MIT
#include <linux/fs.h>

#include "MountedFolder.h"

namespace quillbrook {
namespace {

FileDescriptor opened(const char* path, int flags, mode_t mode = 0644) {
  return FileDescriptor(open(path, flags | O_CLOEXEC, mode));
}

std::string described(const std::string& path) {
  const struct stat status = Content::status(path);
  return std::to_string(status.st_mode) + " " + std::to_string(status.st_nlink) + " " +
         std::to_string(S_ISDIR(status.st_mode) ? 0 : status.st_size) + " " + std::to_string(status.st_uid);
}

// Works in the current folder, on what the steps before have left.
struct Step {
  const char* name;
  long (*run)();
};
#define STEP(...) {#__VA_ARGS__, [] { return outcome(__VA_ARGS__); }}

constexpr auto steps = std::to_array<Step>({
    STEP(opened("a", O_WRONLY | O_CREAT | O_EXCL, 0640).isOpen()),
    STEP(opened("a", O_WRONLY | O_CREAT | O_EXCL).get()),
    STEP(write(opened("r", O_RDWR | O_CREAT, 0444).get(), "xyz", 3)),
    {"write and read back",
     [] {
       const auto file = opened("a", O_RDWR);
       std::array<char, 16> bytes{};
       pwrite(file.get(), "hello world", 11, 0);
       return outcome(pread(file.get(), bytes.data(), bytes.size(), 6)) * 1000 + bytes[0];
     }},
    STEP(write(opened("a", O_WRONLY | O_APPEND).get(), "!!", 2)),
    STEP(pwrite(opened("a", O_WRONLY | O_APPEND).get(), "?", 1, 0)),
    STEP(copy_file_range(opened("a", O_RDONLY).get(), nullptr, opened("c", O_RDWR | O_CREAT).get(), nullptr, 5000, 0)),
    STEP(truncate("a", 10'000)),
    STEP(lseek(opened("a", O_RDONLY).get(), 0, SEEK_HOLE)),
    STEP(lseek(opened("a", O_RDONLY).get(), 20'000, SEEK_DATA)),
    STEP(fallocate(opened("a", O_RDWR).get(), 0, 0, 20'000)),
    STEP(fallocate(opened("a", O_RDWR).get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, 4096)),
    STEP(mkdir("d", 0750)),
    STEP(mkdir("d", 0750)),
    STEP(link("a", "d/b")),
    STEP(link("d", "e")),
    STEP(rename("c", "d/b")),
    STEP(renameat2(AT_FDCWD, "a", AT_FDCWD, "d/b", RENAME_NOREPLACE)),
    STEP(renameat2(AT_FDCWD, "a", AT_FDCWD, "d/b", RENAME_EXCHANGE)),
    STEP(rename("d", "d/x")),
    STEP(rmdir("d")),
    STEP(unlink("d")),
    STEP(symlink("d/b", "s")),
    STEP(opened("s", O_RDONLY).isOpen()),
    STEP(opened("s", O_RDONLY | O_NOFOLLOW).get()),
    STEP(readlink("s", std::array<char, 64>().data(), 64)),
    STEP(mkfifo("p", 0600)),
    STEP(mknod("null", S_IFCHR | 0666, 0x103)),
    STEP(write(opened("null", O_WRONLY).get(), "x", 1)),
    STEP(chmod("d/b", 06755)),
    STEP(chown("d/b", 12, 34)),  // takes set-id bits
    {"times",
     [] {
       const std::array<timespec, 2> times{timespec{1, 2}, timespec{3, 123'456'789}};
       const long set = outcome(utimensat(AT_FDCWD, "d/b", times.data(), 0));
       const struct stat status = Content::status("d/b");
       return set + status.st_mtim.tv_nsec + status.st_atim.tv_nsec;
     }},
    STEP(setxattr("a", "user.x", "abc", 3, 0)),
    STEP(setxattr("a", "user.x", "abc", 3, XATTR_CREATE)),
    STEP(getxattr("a", "user.x", nullptr, 0)),
    STEP(getxattr("a", "user.x", std::array<char, 2>().data(), 2)),
    STEP(listxattr("a", nullptr, 0)),
    STEP(removexattr("a", "user.x")),
    STEP(removexattr("a", "user.x")),
    {"host flags",
     [] {
       int flags = FS_NODUMP_FL;
       const auto file = opened("a", O_RDONLY);
       const long set = outcome(ioctl(file.get(), FS_IOC_SETFLAGS, &flags));
       ioctl(file.get(), FS_IOC_GETFLAGS, &flags);
       return set * 1000 + (flags & FS_NODUMP_FL);
     }},
    STEP(ioctl(opened("a", O_RDONLY).get(), 0x1234, nullptr)),
    STEP(mkdir(std::string(256, 'n').c_str(), 0700)),
    STEP(mkdir(std::string(255, 'n').c_str(), 0700)),
    STEP(mkdir("\xff\n\x01", 0700)),
    {"read an unlinked file",
     [] {
       const auto file = opened("u", O_RDWR | O_CREAT);
       pwrite(file.get(), "gone", 4, 0);
       unlink("u");
       struct stat status{};
       fstat(file.get(), &status);
       std::array<char, 8> bytes{};
       return outcome(pread(file.get(), bytes.data(), bytes.size(), 0)) * 10 + static_cast<long>(status.st_nlink);
     }},
    {"shared map",
     [] {
       const auto file = opened("m", O_RDWR | O_CREAT);
       if (ftruncate(file.get(), 10'000) != 0) return -1L;
       void* map = mmap(nullptr, 10'000, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
       if (map == MAP_FAILED) return outcome(-1);
       static_cast<char*>(map)[9000] = 'x';
       munmap(map, 10'000);
       char byte = 0;
       return outcome(pread(file.get(), &byte, 1, 9000)) * 1000 + byte;
     }},
    {"create in a removed folder",
     [] {
       mkdir("z", 0700);
       const auto folder = opened("z", O_RDONLY | O_DIRECTORY);
       rmdir("z");
       return outcome(openat(folder.get(), "x", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
     }},
    STEP(fsync(opened("a", O_RDONLY).get())),
    STEP(fsync(opened(".", O_RDONLY | O_DIRECTORY).get())),
});

long runIn(const std::string& folder, const Step& step) {
  std::filesystem::current_path(folder);
  errno = 0;
  const long result = step.run();
  std::filesystem::current_path("/");
  return result;
}

std::set<std::string> names(const std::string& folder) {
  std::set<std::string> result;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) result.insert(entry.path().filename());
  return result;
}

using ParityTest = VolumeTest;

TEST_P(ParityTest, EveryCallAnswersAsInAnOrdinaryFolder) {
  const ScratchFolder folder;
  const std::string ordinary = folder.folder().bytes();
  const std::string source = mounted_->source();
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    const long expected = runIn(ordinary, step);
    EXPECT_EQ(runIn(source, step), expected);
    ASSERT_EQ(names(source), names(ordinary));
    for (const std::string& name : names(source)) {
      EXPECT_EQ(described(mounted_->at(name)), described(folder.at(name))) << name;
    }
  }
  for (const char* name : {"/a", "/d/b"}) EXPECT_EQ(Content::read(source + name), Content::read(ordinary + name));
}

TEST_P(ParityTest, TheVolumesOwnFolderIsOutOfReach) {
  const std::string hidden = mounted_->at(".quillbrook-volume");
  const std::string other = mounted_->at("d");
  mkdir(other.c_str(), 0700);
  EXPECT_EQ(outcome(access(hidden.c_str(), F_OK)), -ENOENT);
  EXPECT_EQ(outcome(mkdir(hidden.c_str(), 0700)), -EPERM);
  EXPECT_EQ(outcome(opened(hidden.c_str(), O_CREAT | O_WRONLY).get()), -EPERM);
  EXPECT_EQ(outcome(rename(other.c_str(), hidden.c_str())), -EPERM);
  EXPECT_EQ(outcome(rename(hidden.c_str(), other.c_str())), -ENOENT);
  EXPECT_EQ(outcome(rmdir(hidden.c_str())), -ENOENT);
  EXPECT_EQ(names(mounted_->source()), std::set<std::string>{"d"});
  EXPECT_EQ(Content::status(mounted_->backing(".quillbrook-volume")).st_mode & 07777U, 0700U);
}

// Entries come and go while somebody reads a listing: none that stays may be missed or told twice.
TEST_P(ParityTest, AListingSurvivesChangesMeanwhile) {
  constexpr int count = 1000;
  for (const char* kind : {"stays", "goes"}) {
    for (int index = 0; index < count; ++index) Content::write(mounted_->at(kind + std::to_string(index)), "");
  }
  std::multiset<std::string> seen;
  int step = 0;
  for (const auto& entry : std::filesystem::directory_iterator(mounted_->source())) {
    const std::string name = entry.path().filename();
    if (name.starts_with("stays")) seen.insert(name);
    if (step < count) {
      unlink(mounted_->at("goes" + std::to_string(step)).c_str());
      Content::write(mounted_->at("new" + std::to_string(step)), "");
    }
    ++step;
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(count));
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), static_cast<std::size_t>(count));
}

INSTANTIATE_TEST_SUITE_P(Owners, ParityTest, testing::ValuesIn(owners), ownerName);

TEST(MountTest, OneDaemonAFolderAndNoVolumeInAnother) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const ScratchFolder source;
  source.makeFolder("inner");
  const MountedFolder outer(source.folder().bytes());
  ASSERT_TRUE(outer.isMounted());
  const MountedFolder inner(source.at("inner"));
  EXPECT_FALSE(inner.isMounted());
  const ScratchFolder elsewhere;
  const MountedFolder again(elsewhere.folder().bytes(), {outer.backing(".")});
  EXPECT_FALSE(again.isMounted());
}

}  // namespace
}  // namespace quillbrook
