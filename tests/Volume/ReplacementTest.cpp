// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

using VolumeProtocol::ReplaceRequest;

class ReplacementTest : public testing::TestWithParam<MountedFolder::Owner> {
 protected:
  void SetUp() override {
    if (const auto obstacle = MountedFolder::obstacle(GetParam())) GTEST_SKIP() << *obstacle;
    mounted_.emplace(source_.path(), std::vector<std::string>(), GetParam());
    ASSERT_TRUE(mounted_->isMounted());
  }

  // What replaces "f" by "work", as both stand now.
  ReplaceRequest request() {
    ReplaceRequest result{};
    struct stat backing{};
    struct stat shown{};
    EXPECT_EQ(stat(mounted_->backing("f").c_str(), &backing), 0);
    EXPECT_EQ(stat(mounted_->at("f").c_str(), &shown), 0);
    result.device = backing.st_dev;
    result.inode = backing.st_ino;
    result.logicalSize = shown.st_size;
    result.modificationSeconds = backing.st_mtim.tv_sec;
    result.modificationNanoseconds = static_cast<std::uint32_t>(backing.st_mtim.tv_nsec);
    std::strcpy(result.work, "work");
    std::strcpy(result.target, "f");
    return result;
  }
  // 0 or the error's number.
  int send(const ReplaceRequest& request) {
    const FileDescriptor folder(open(mounted_->source().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return ioctl(folder.get(), VolumeProtocol::replaceCommand, &request) == 0 ? 0 : errno;
  }

  const TemporaryFolder source_;
  std::optional<MountedFolder> mounted_;
};

TEST_P(ReplacementTest, RefusesWhatIsNotTheExpectedFileOrInUse) {
  const std::string bytes = Content::text(50'000);
  Content::write(mounted_->at("f"), bytes);
  Content::write(mounted_->backing("work"), bytes);
  struct Case {
    const char* name;
    std::function<void(ReplaceRequest&)> spoil;
    int expected;
  };
  const std::vector<Case> cases{
      {"inode", [](auto& r) { ++r.inode; }, EBUSY},
      {"device", [](auto& r) { ++r.device; }, EBUSY},
      {"size", [](auto& r) { ++r.logicalSize; }, EBUSY},
      {"time", [](auto& r) { r.modificationNanoseconds ^= 1U; }, EBUSY},
      {"itself", [](auto& r) { std::strcpy(r.work, "f"); }, EBUSY},
      {"no work file", [](auto& r) { std::strcpy(r.work, "none"); }, ENOENT},
      {"path", [](auto& r) { std::strcpy(r.work, "./work"); }, EINVAL},
      {"dots", [](auto& r) { std::strcpy(r.target, ".."); }, EINVAL},
      {"hidden", [](auto& r) { std::strcpy(r.work, ".quillbrook-volume"); }, EINVAL},
      {"unended name", [](auto& r) { std::ranges::fill(r.work, 'w'); }, EINVAL},
  };
  for (const Case& one : cases) {
    ReplaceRequest spoiled = request();
    one.spoil(spoiled);
    EXPECT_EQ(send(spoiled), one.expected) << one.name;
  }
  {
    const FileDescriptor writer(open(mounted_->at("f").c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(send(request()), EBUSY) << "open for writing";
  }
  {
    FileDescriptor writer(open(mounted_->at("f").c_str(), O_RDWR | O_CLOEXEC));
    void* map = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, writer.get(), 0);
    writer.reset();
    EXPECT_EQ(send(request()), EBUSY) << "mapped for writing, and closed";
    munmap(map, 4096);
  }
  ASSERT_EQ(link(mounted_->at("f").c_str(), mounted_->at("g").c_str()), 0);
  EXPECT_EQ(send(request()), EBUSY) << "two names";
  EXPECT_EQ(Content::read(mounted_->at("f")), bytes);
  EXPECT_EQ(access(mounted_->backing("work").c_str(), F_OK), 0);
}

TEST_P(ReplacementTest, ReadersGoOnAndTheOldInodeIsFreeAtOnce) {
  const std::string bytes = Content::text(500'000);
  const std::string path = mounted_->at("f");
  Content::write(path, bytes);
  Content::compress(path);
  // A compressed file is read by way of the daemon, so its readers can be moved.
  const FileDescriptor reader(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  char byte = 0;
  ASSERT_EQ(pread(reader.get(), &byte, 1, 0), 1);
  struct stat before{};
  ASSERT_EQ(fstat(reader.get(), &before), 0);
  const auto result = FileCompressor::decompress(FilePath(path));
  ASSERT_TRUE(result) << describe(result.error());
  std::string seen(bytes.size(), '\0');
  EXPECT_EQ(pread(reader.get(), seen.data(), seen.size(), 0), static_cast<ssize_t>(seen.size()));
  EXPECT_EQ(seen, bytes);
  struct stat after{};
  ASSERT_EQ(fstat(reader.get(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  for (const auto& file : mounted_->openFiles()) {
    EXPECT_EQ(file.target.find("(deleted)"), std::string::npos) << file.target;
  }
  Content::compress(path);
  EXPECT_EQ(pread(reader.get(), seen.data(), seen.size(), 0), static_cast<ssize_t>(seen.size()));
  EXPECT_EQ(seen, bytes);
}

// A file system of its own, so that its free space tells of nothing else.
class SmallFileSystem {
 public:
  explicit SmallFileSystem(std::string path) : path_(std::move(path)) {
    isMounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=64m") == 0;
  }
  ~SmallFileSystem() {
    if (isMounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;
  SmallFileSystem(SmallFileSystem&&) = delete;
  SmallFileSystem& operator=(SmallFileSystem&&) = delete;

  [[nodiscard]] std::optional<std::string> obstacle() const {
    if (!isMounted_) return "no tmpfs can be mounted here";
    if (setxattr(path_.c_str(), "user.x", "x", 1, 0) != 0) return "this tmpfs keeps no attributes";
    return std::nullopt;
  }
  [[nodiscard]] std::uint64_t usedByteCount() const {
    struct statvfs status{};
    EXPECT_EQ(statvfs(path_.c_str(), &status), 0);
    return (status.f_blocks - status.f_bfree) * status.f_frsize;
  }

 private:
  std::string path_;
  bool isMounted_ = false;
};

// The daemon and the kernel keep hold of what was opened a short while ago, so that it opens faster again.
TEST(ReplacementSpaceTest, WhatTheKernelServedByItselfIsFreedAsWell) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const TemporaryFolder folder;
  const SmallFileSystem host(folder.path());
  if (const auto obstacle = host.obstacle()) GTEST_SKIP() << *obstacle;
  const MountedFolder mounted(folder.path());
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  const std::string bytes = Content::text(8'000'000);
  Content::write(path, bytes);
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_EQ(Content::read(path), bytes);
  const std::uint64_t full = host.usedByteCount();
  Content::compress(path);
  EXPECT_LT(host.usedByteCount(), full / 2) << "replaced";
  EXPECT_EQ(Content::read(path), bytes);
  ASSERT_TRUE(FileCompressor::decompress(FilePath(path)));
  EXPECT_EQ(Content::read(path), bytes);
  ASSERT_EQ(unlink(path.c_str()), 0);
  // The kernel says a moment later that it has forgotten the file.
  for (int attempt = 0; attempt < 1000 && host.usedByteCount() >= full / 2; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_LT(host.usedByteCount(), full / 2) << "unlinked";
}

// A number that a replacement has freed may come back with a new file: no two files may show the same.
TEST_P(ReplacementTest, NumbersStayAndAreUnique) {
  for (int round = 0; round < 40; ++round) {
    const std::string path = mounted_->at("f" + std::to_string(round));
    Content::write(path, Content::text(20'000));
    struct stat before{};
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    Content::compress(path);
    struct stat after{};
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    ASSERT_EQ(after.st_ino, before.st_ino);
  }
  std::vector<ino_t> numbers;
  for (int round = 0; round < 40; ++round) {
    struct stat status{};
    ASSERT_EQ(stat(mounted_->at("f" + std::to_string(round)).c_str(), &status), 0);
    numbers.push_back(status.st_ino);
  }
  std::ranges::sort(numbers);
  EXPECT_EQ(std::ranges::adjacent_find(numbers), numbers.end());
}

// Writers of every kind against compress and decompress loops: every byte for which a call returned must be there.
TEST_P(ReplacementTest, NothingWrittenIsLostWhileFilesAreSwapped) {
  const std::string base = Content::text(40'000);
  for (const char* name : {"append", "map", "rename0", "count"}) Content::write(mounted_->at(name), base);
  std::atomic<bool> isOver = false;
  // The longest pause between two acts of a worker, in microseconds: as long as a swap needs to come between.
  std::atomic<unsigned> pause = 12'000;
  const auto working = [&isOver, &pause](unsigned seed, auto act) {
    return std::jthread([&isOver, &pause, seed, act] {
      std::mt19937 random(seed);
      for (; !isOver; std::this_thread::sleep_for(std::chrono::microseconds(random() % pause))) act();
    });
  };
  std::size_t appended = 0;
  std::size_t counted = 0;
  std::size_t changed = 0;
  std::string mapped = base;
  std::atomic<int> renames = 0;
  std::vector<std::jthread> workers;
  workers.push_back(working(1, [&] {  // opens, appends, closes
    const FileDescriptor file(open(mounted_->at("append").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    EXPECT_EQ(write(file.get(), "0123456789", 10), 10);
    ++appended;
  }));
  workers.push_back(working(2, [&] {  // maps, closes, changes, unmaps
    FileDescriptor file(open(mounted_->at("map").c_str(), O_RDWR | O_CLOEXEC));
    void* map = mmap(nullptr, base.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    ASSERT_NE(map, MAP_FAILED);
    file.reset();
    std::this_thread::yield();
    mapped[changed] = static_cast<char*>(map)[changed] = 'M';
    munmap(map, base.size());
    changed = (changed + 4099) % base.size();
  }));
  workers.push_back(working(3, [&] {
    const std::string to = mounted_->at("rename" + std::to_string(renames + 1));
    EXPECT_EQ(rename(mounted_->at("rename" + std::to_string(renames)).c_str(), to.c_str()), 0);
    ++renames;
  }));
  workers.push_back(working(4, [&] {  // replaces by what is written anew, and in place
    if (counted % 2 == 0) {
      Content::write(mounted_->at("count"), base + std::to_string(counted + 1));
    } else {
      Content::write(mounted_->at("count.new"), base + std::to_string(counted + 1));
      EXPECT_EQ(rename(mounted_->at("count.new").c_str(), mounted_->at("count").c_str()), 0);
    }
    ++counted;
  }));
  workers.push_back(working(5, [&] {
    const std::string seen = Content::read(mounted_->at("append"));
    EXPECT_TRUE(seen.starts_with(base));
  }));
  std::map<std::string, int> swaps{{"append", 0}, {"map", 0}, {"rename", 0}, {"count", 0}};
  const auto swap = [&](const std::string& kind, const std::string& name) {
    swaps[kind] += FileCompressor::compress(FilePath(mounted_->at(name))) ? 1 : 0;
    swaps[kind] += FileCompressor::decompress(FilePath(mounted_->at(name))) ? 1 : 0;
  };
  const auto isMissing = [&swaps] {
    return std::ranges::any_of(swaps, [](const auto& entry) { return entry.second == 0; });
  };
  constexpr unsigned longestPause = 3'000'000;
  const auto end = std::chrono::steady_clock::now() + TestDuration::fromEnvironment();
  // Every kind must have been swapped: on a busy machine the workers are slowed down until it has.
  while (!HasFailure() && (std::chrono::steady_clock::now() < end || (isMissing() && pause < longestPause))) {
    swap("append", "append");
    swap("map", "map");
    swap("rename", "rename" + std::to_string(renames));
    swap("count", "count");
    if (isMissing()) pause = pause + pause / 4;
  }
  isOver = true;
  workers.clear();
  std::string expected = base;
  for (std::size_t count = 0; count < appended; ++count) expected += "0123456789";
  EXPECT_TRUE(Content::read(mounted_->at("append")) == expected);
  EXPECT_TRUE(Content::read(mounted_->at("map")) == mapped);
  EXPECT_TRUE(Content::read(mounted_->at("rename" + std::to_string(renames))) == base);
  EXPECT_EQ(Content::read(mounted_->at("count")).substr(base.size()), std::to_string(counted));
  for (const auto& [kind, count] : swaps) std::cout << count << " swaps against " << kind << std::endl;
  EXPECT_FALSE(isMissing());
}

// With the kernel's passthrough for ordinary files, and without.
INSTANTIATE_TEST_SUITE_P(Owners, ReplacementTest,
                         testing::Values(MountedFolder::Owner::caller, MountedFolder::Owner::nobody), ownerName);

}  // namespace
}  // namespace quillbrook
