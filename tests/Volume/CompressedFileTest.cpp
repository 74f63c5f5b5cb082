// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <random>

#include "MountedFolder.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {
namespace {

constexpr std::size_t byteCount = 300'000;

class CompressedFileTest : public testing::TestWithParam<MountedFolder::Owner> {
 protected:
  void SetUp() override {
    if (const auto obstacle = MountedFolder::obstacle(GetParam())) GTEST_SKIP() << *obstacle;
    mounted_.emplace(source_.path(), std::vector<std::string>(), GetParam());
    ASSERT_TRUE(mounted_->isMounted());
  }
  // A compressed file with these bytes.
  std::string make(const std::string& name, const std::string& bytes) {
    const std::string path = mounted_->at(name);
    Content::write(path, bytes);
    Content::compress(path);
    EXPECT_TRUE(Content::isCompressed(path));
    return path;
  }

  const TemporaryFolder source_;
  std::optional<MountedFolder> mounted_;
};

struct stat statusOf(const std::string& path) {
  struct stat status{};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

TEST_P(CompressedFileTest, LooksLikeTheFileThatItIs) {
  const std::string bytes = Content::text(byteCount);
  const std::string path = mounted_->at("f");
  Content::write(path, bytes);
  ASSERT_EQ(setxattr(path.c_str(), "user.note", "kept", 4, 0), 0);
  const struct stat before = statusOf(path);
  Content::compress(path);
  const struct stat after = statusOf(path);
  EXPECT_EQ(after.st_size, before.st_size);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_blocks, statusOf(mounted_->backing("f")).st_blocks);
  EXPECT_LT(after.st_blocks, before.st_blocks);
  EXPECT_EQ(Content::read(path), bytes);

  std::array<char, 256> names{};
  ASSERT_EQ(listxattr(path.c_str(), names.data(), names.size()), 10);
  EXPECT_STREQ(names.data(), "user.note");
  EXPECT_EQ(getxattr(path.c_str(), "user.quillbrook.state", names.data(), names.size()), -1);
  EXPECT_EQ(errno, ENODATA);
  EXPECT_EQ(setxattr(path.c_str(), "user.quillbrook.state", "x", 1, 0), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(removexattr(path.c_str(), "user.quillbrook.state"), -1);
  EXPECT_TRUE(Content::isCompressed(path));
}

TEST_P(CompressedFileTest, ReadsAnywhere) {
  const std::string bytes = Content::text(byteCount);
  const std::string path = make("f", bytes);
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::mt19937 random(7);
  std::string buffer(100'000, '\0');
  for (int round = 0; round < 300; ++round) {
    const std::size_t offset = random() % (byteCount + 1000);
    const std::size_t size = random() % buffer.size();
    const ssize_t count = pread(file.get(), buffer.data(), size, static_cast<off_t>(offset));
    ASSERT_GE(count, 0);
    const std::string expected = offset < byteCount ? bytes.substr(offset, size) : "";
    ASSERT_EQ(buffer.substr(0, static_cast<std::size_t>(count)), expected) << offset << " " << size;
  }
  void* map = mmap(nullptr, byteCount, PROT_READ, MAP_SHARED, file.get(), 0);
  ASSERT_NE(map, MAP_FAILED);
  EXPECT_EQ(std::string(static_cast<char*>(map), byteCount), bytes);
  munmap(map, byteCount);
  EXPECT_EQ(lseek(file.get(), 0, SEEK_HOLE), static_cast<off_t>(byteCount));
}

// Every way to change content makes the file an ordinary one with exactly that change.
TEST_P(CompressedFileTest, ChangesAsAnOrdinaryFile) {
  const std::string bytes = Content::text(byteCount);
  struct Case {
    const char* name;
    std::function<void(const std::string& path)> change;
    std::function<void(std::string& expected)> apply;
  };
  const std::vector<Case> cases{
      {"write inside",
       [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
         EXPECT_EQ(pwrite(file.get(), "XYZ", 3, 100'000), 3);
       },
       [](auto& expected) { expected.replace(100'000, 3, "XYZ"); }},
      {"append",
       [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
         EXPECT_EQ(write(file.get(), "XYZ", 3), 3);
       },
       [](auto& expected) { expected += "XYZ"; }},
      {"truncate by name", [](auto& path) { EXPECT_EQ(truncate(path.c_str(), 70'000), 0); },
       [](auto& expected) { expected.resize(70'000); }},
      {"truncate longer", [](auto& path) { EXPECT_EQ(truncate(path.c_str(), 400'000), 0); },
       [](auto& expected) { expected.resize(400'000); }},
      {"truncate to nothing", [](auto& path) { EXPECT_EQ(truncate(path.c_str(), 0), 0); },
       [](auto& expected) { expected.clear(); }},
      {"open truncating", [](auto& path) { Content::write(path, "new"); }, [](auto& expected) { expected = "new"; }},
      {"write to a map",
       [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
         void* map = mmap(nullptr, byteCount, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
         ASSERT_NE(map, MAP_FAILED);
         static_cast<char*>(map)[200'000] = 'M';
         munmap(map, byteCount);
       },
       [](auto& expected) { expected[200'000] = 'M'; }},
      {"punch a hole",
       [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
         EXPECT_EQ(fallocate(file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 4096, 8192), 0);
       },
       [](auto& expected) { expected.replace(4096, 8192, std::string(8192, '\0')); }},
  };
  for (const Case& one : cases) {
    const std::string path = make("f", bytes);
    const ino_t number = statusOf(path).st_ino;
    // Somebody reads it all the while.
    const FileDescriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char first = 0;
    EXPECT_EQ(pread(reader.get(), &first, 1, 0), 1);
    one.change(path);
    std::string expected = bytes;
    one.apply(expected);
    EXPECT_EQ(Content::read(path), expected) << one.name;
    EXPECT_EQ(Content::read(mounted_->backing("f")), expected) << one.name;
    EXPECT_FALSE(Content::isCompressed(path)) << one.name;
    EXPECT_EQ(statusOf(path).st_ino, number) << one.name;
    std::string seen(expected.size() + 1, '\0');
    const ssize_t count = pread(reader.get(), seen.data(), seen.size(), 0);
    EXPECT_EQ(seen.substr(0, static_cast<std::size_t>(count)), expected) << one.name;
    EXPECT_EQ(unlink(path.c_str()), 0);
  }
}

TEST_P(CompressedFileTest, StaysCompressedWhileOnlyItsNamesAndAttributesChange) {
  const std::string bytes = Content::text(byteCount);
  const std::string path = make("f", bytes);
  const std::string other = mounted_->at("g");
  EXPECT_EQ(chmod(path.c_str(), 0604), 0);
  EXPECT_EQ(setxattr(path.c_str(), "user.note", "x", 1, 0), 0);
  const std::array<timespec, 2> times{timespec{5, 6}, timespec{7, 8}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
  EXPECT_EQ(rename(path.c_str(), other.c_str()), 0);
  EXPECT_EQ(link(other.c_str(), path.c_str()), 0);
  EXPECT_EQ(statusOf(path).st_mtim.tv_nsec, 8);
  EXPECT_TRUE(Content::isCompressed(other));
  EXPECT_EQ(Content::read(path), bytes);
  // Through one name it is expanded for all of them.
  Content::write(path, "short");
  EXPECT_EQ(Content::read(other), "short");
}

TEST_P(CompressedFileTest, OpeningForWritingAloneKeepsContentAndTimes) {
  const std::string path = make("f", Content::text(byteCount));
  ASSERT_EQ(chmod(path.c_str(), 04755), 0);
  const struct stat before = statusOf(path);
  {
    const FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  }
  const struct stat after = statusOf(path);
  EXPECT_FALSE(Content::isCompressed(path));
  EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
  EXPECT_EQ(after.st_mode, before.st_mode);
}

TEST_P(CompressedFileTest, RunsOfZerosComeBackAsHoles) {
  std::string bytes = Content::text(100'000);
  bytes.resize(2'000'000, '\0');
  const std::string path = make("f", bytes);
  {
    const FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  }
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_LT(statusOf(mounted_->backing("f")).st_blocks * 512, 200'000);
}

TEST_P(CompressedFileTest, DamageIsAnErrorAndNeverWrongBytes) {
  const std::string bytes = Content::text(byteCount);
  struct Case {
    const char* name;
    std::function<void(const std::string& backing)> damage;
  };
  const std::vector<Case> cases{
      {"flipped byte",
       [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
         char byte = 0;
         EXPECT_EQ(pread(file.get(), &byte, 1, 1000), 1);
         byte = static_cast<char>(byte ^ 1);
         EXPECT_EQ(pwrite(file.get(), &byte, 1, 1000), 1);
       }},
      {"broken state",
       [](auto& path) { EXPECT_EQ(setxattr(path.c_str(), "user.quillbrook.state", "broken", 6, 0), 0); }},
      {"surplus bytes", [](auto& path) {
         const FileDescriptor file(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
         EXPECT_EQ(write(file.get(), "x", 1), 1);
       }}};
  for (const Case& one : cases) {
    const std::string path = make("f", bytes);
    mounted_->stop();
    one.damage(path);
    mounted_.emplace(source_.path(), std::vector<std::string>(), GetParam());
    const FileDescriptor writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_FALSE(writer.isOpen()) << one.name;
    EXPECT_EQ(errno, EIO) << one.name;
    const FileDescriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string seen(byteCount, '\0');
    const ssize_t count = reader.isOpen() ? pread(reader.get(), seen.data(), seen.size(), 0) : -1;
    if (count >= 0) {
      EXPECT_EQ(seen.substr(0, static_cast<std::size_t>(count)), bytes.substr(0, static_cast<std::size_t>(count)));
    }
    EXPECT_EQ(chmod(path.c_str(), 0600), 0) << one.name;
    EXPECT_EQ(rename(path.c_str(), mounted_->at("g").c_str()), 0) << one.name;
    EXPECT_EQ(truncate(mounted_->at("g").c_str(), 0), 0) << one.name;
    Content::write(mounted_->at("g"), "again");
    EXPECT_EQ(Content::read(mounted_->at("g")), "again") << one.name;
    EXPECT_EQ(unlink(mounted_->at("g").c_str()), 0) << one.name;
  }
}

// With the kernel's passthrough for ordinary files, and without.
INSTANTIATE_TEST_SUITE_P(Owners, CompressedFileTest,
                         testing::Values(MountedFolder::Owner::caller, MountedFolder::Owner::nobody), ownerName);

}  // namespace
}  // namespace quillbrook
