// SPDX-License-Identifier: MIT

#include "Compression/FileCompressor.h"
#include "MountedFolder.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "SmallFileSystem.h"
#include "Support/ChildProcess.h"

namespace quillbrook {
namespace {

using VolumeProtocol::ReplaceRequest;

class ReplacementTest : public VolumeTest {
 protected:
  static void put(std::span<char> field, std::string_view name) {
    std::ranges::fill(field, '\0');
    std::ranges::copy(name, field.begin());
  }
  // What replaces "f" by "work", as both stand now.
  ReplaceRequest request() {
    const struct stat backing = Content::status(mounted_->backing("f"));
    ReplaceRequest result{};
    result.device = backing.st_dev;
    result.inode = backing.st_ino;
    result.workInode = Content::status(mounted_->backing("work")).st_ino;
    result.logicalSize = Content::status(mounted_->at("f")).st_size;
    result.modificationSeconds = backing.st_mtim.tv_sec;
    result.modificationNanoseconds = static_cast<std::uint32_t>(backing.st_mtim.tv_nsec);
    result.changeSeconds = backing.st_ctim.tv_sec;
    result.changeNanoseconds = static_cast<std::uint32_t>(backing.st_ctim.tv_nsec);
    put(result.work, "work");
    put(result.target, "f");
    return result;
  }
  // 0 or the error's number.
  int send(const ReplaceRequest& request) {
    const FileDescriptor folder = Content::open(mounted_->source(), O_DIRECTORY);
    return ioctl(folder.get(), VolumeProtocol::replaceCommand, &request) == 0 ? 0 : errno;
  }
};

TEST_P(ReplacementTest, RefusesWhatIsNotTheExpectedFileOrInUse) {
  const std::string bytes = Content::text(50'000);
  const std::string path = mounted_->at("f");
  Content::write(path, bytes);
  Content::write(mounted_->backing("work"), bytes);
  const std::vector<std::tuple<const char*, int, std::function<void(ReplaceRequest&)>>> cases{
      {"inode", EBUSY, [](auto& r) { ++r.inode; }},
      {"device", EBUSY, [](auto& r) { ++r.device; }},
      {"work inode", EBUSY, [](auto& r) { ++r.workInode; }},
      {"size", EBUSY, [](auto& r) { ++r.logicalSize; }},
      {"time", EBUSY, [](auto& r) { r.modificationNanoseconds ^= 1U; }},
      {"change time", ESTALE, [](auto& r) { r.changeNanoseconds ^= 1U; }},
      {"itself", EBUSY, [](auto& r) { put(r.work, "f"); }},
      {"no work file", ENOENT, [](auto& r) { put(r.work, "none"); }},
      {"path", EINVAL, [](auto& r) { put(r.work, "./work"); }},
      {"dots", EINVAL, [](auto& r) { put(r.target, ".."); }},
      {"hidden", EINVAL, [](auto& r) { put(r.work, ".quillbrook-volume"); }},
      {"unended name", EINVAL, [](auto& r) { std::ranges::fill(r.work, 'w'); }},
  };
  for (const auto& [name, expected, spoil] : cases) {
    ReplaceRequest spoiled = request();
    spoil(spoiled);
    EXPECT_EQ(send(spoiled), expected) << name;
  }
  FileDescriptor writer = Content::open(path, O_RDWR);
  EXPECT_EQ(send(request()), EBUSY) << "open for writing";
  void* map = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, writer.get(), 0);
  writer.reset();
  EXPECT_EQ(send(request()), EBUSY) << "mapped for writing, and closed";
  munmap(map, 4096);
  ASSERT_EQ(link(path.c_str(), mounted_->at("g").c_str()), 0);
  EXPECT_EQ(send(request()), EBUSY) << "two names";
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_EQ(access(mounted_->backing("work").c_str(), F_OK), 0);
}

// What a program wrote to a work file would be the user's content; a file of its own by such a name is its own.
TEST_P(ReplacementTest, NobodyWritesToAWorkFile) {
  const std::string path = mounted_->at("f");
  const std::string work = path + ".slimtmp";
  const auto meddle = [&]() -> std::expected<void, FileCompressionError> {
    for (const int flags : {O_WRONLY, O_RDWR | O_APPEND, O_WRONLY | O_TRUNC}) {
      const FileDescriptor file(open(work.c_str(), flags | O_CLOEXEC));
      EXPECT_EQ(file.isOpen() ? 0 : errno, EBUSY);
    }
    EXPECT_EQ(truncate(work.c_str(), 1), -1);
    return {};
  };
  const std::string bytes = Content::text(50'000);
  Content::write(path, bytes);
  constexpr auto threshold = FileCompressor::defaultStreamingThreshold;
  EXPECT_TRUE(FileCompressor::compress(FilePath(path), threshold, meddle));
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_TRUE(FileCompressor::decompress(FilePath(path), threshold, meddle));
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_EQ(getxattr(path.c_str(), "user.com.studiomerlin.quillbrook.slimtmp", nullptr, 0), -1) << "the mark is off";
  Content::write(work, "mine");
  EXPECT_EQ(Content::read(work), "mine");
}

// What a program changes of a file while its replacement is made is not in what was copied from it.
TEST_P(ReplacementTest, ModesAndAttributesChangedMeanwhileStay) {
  const std::string path = mounted_->at("f");
  const FilePath url(path);
  Content::write(path, Content::text(50'000));
  const auto change = [&](mode_t mode) -> FileCompressor::BeforeSwap {
    return [&path, mode]() -> std::expected<void, FileCompressionError> {
      EXPECT_EQ(chmod(path.c_str(), mode), 0);
      EXPECT_EQ(setxattr(path.c_str(), "user.new", "precious", 8, XATTR_CREATE), 0);
      return {};
    };
  };
  const auto expectKept = [&](mode_t mode) {
    EXPECT_EQ(Content::status(path).st_mode & 0777U, mode);
    EXPECT_EQ(removexattr(path.c_str(), "user.new"), 0);
  };
  constexpr auto threshold = FileCompressor::defaultStreamingThreshold;
  const auto compressed = FileCompressor::compress(url, threshold, change(0600));
  ASSERT_FALSE(compressed);
  EXPECT_THAT(describe(compressed.error()), testing::StartsWith("fileChangedDuringOperation"));
  expectKept(0600);
  Content::compress(path);
  const auto decompressed = FileCompressor::decompress(url, threshold, change(0640));
  ASSERT_FALSE(decompressed);
  EXPECT_TRUE(std::holds_alternative<FileChangedDuringOperation>(decompressed.error()));
  expectKept(0640);
}

// Where a file was put underneath since the kernel looked, creating it must not open it unasked.
TEST(ReplacementAccessTest, NobodyOpensByCreatingWhatHeMayNotOpen) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
  const ScratchFolder scratch;
  ASSERT_EQ(chmod(scratch.folder().c_str(), 01777), 0);
  const MountedFolder mounted(scratch.folder().bytes(), {"-o", "allow_other"});
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("secret");
  EXPECT_EQ(access(path.c_str(), F_OK), -1);  // the kernel remembers that
  Content::write(mounted.backing("secret"), "secret");
  ASSERT_EQ(chmod(mounted.backing("secret").c_str(), 0600), 0);
  EXPECT_EQ(inOtherProcess([&] {
              if (setgid(65'534) != 0 || setuid(65'534) != 0) return 9;
              return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644) == -1 && errno == EACCES ? 0 : 1;
            }),
            0);
  const FileDescriptor own(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
  EXPECT_EQ(Content::read(own), "secret");
}

TEST_P(ReplacementTest, WhoComesPastTheMountIsRefusedAndSeen) {
  const std::string path = mounted_->at("f");
  const std::string bytes = Content::text(50'000);
  Content::write(path, bytes);
  Content::compress(path);
  EXPECT_EQ(Content::read(path), bytes);
  const auto result = FileCompressor::decompress(FilePath(mounted_->backing("f")));
  ASSERT_FALSE(result);
  EXPECT_TRUE(std::holds_alternative<FileInUse>(result.error())) << describe(result.error());
  Content::write(mounted_->backing("new"), "new");
  ASSERT_EQ(rename(mounted_->backing("new").c_str(), mounted_->backing("f").c_str()), 0);
  EXPECT_EQ(write(Content::open(path, O_WRONLY | O_APPEND).get(), "er", 2), 2);
  EXPECT_EQ(Content::read(mounted_->backing("f")), "newer");
}

TEST_P(ReplacementTest, AccessTimesStay) {
  const std::string path = mounted_->at("f");
  Content::write(path, Content::text(500'000));
  const std::array<timespec, 2> times{timespec{.tv_sec = 1'500'000'000, .tv_nsec = 123'456'789},
                                      timespec{.tv_sec = 1'600'000'000, .tv_nsec = 987'654'321}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
  const auto expectTimes = [&] {
    const struct stat status = Content::status(path);
    EXPECT_EQ(status.st_atim.tv_sec, times[0].tv_sec);
    EXPECT_EQ(status.st_atim.tv_nsec, times[0].tv_nsec);
    EXPECT_EQ(status.st_mtim.tv_nsec, times[1].tv_nsec);
  };
  Content::compress(path);
  expectTimes();
  FileDescriptor writer = Content::open(path, O_WRONLY);  // turns it back
  writer.reset();
  EXPECT_FALSE(Content::isCompressed(path));
  expectTimes();
}

// Pages that the kernel would keep for another handle would be a second truth beside such a map.
TEST_P(ReplacementTest, AMapOutlivesItsHandleAndEverybodySeesIt) {
  const std::string path = mounted_->at("f");
  Content::write(path, std::string(65'536, 'a'));
  FileDescriptor file = Content::open(path, O_RDWR);
  auto* const map = static_cast<char*>(mmap(nullptr, 65'536, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0));
  ASSERT_NE(map, MAP_FAILED);
  file.reset();
  map[0] = '1';
  const FileDescriptor appender = Content::open(path, O_WRONLY | O_APPEND);
  EXPECT_FALSE(FileCompressor::compress(FilePath(path))) << "it is in use";
  const FileDescriptor other = Content::open(path, O_RDWR);
  char seen = 0;
  EXPECT_EQ(pread(other.get(), &seen, 1, 0), 1);
  map[0] = '2';
  map[100] = 'X';
  EXPECT_EQ(pread(other.get(), &seen, 1, 0), 1);
  EXPECT_EQ(seen, '2');
  EXPECT_EQ(pwrite(other.get(), "Y", 1, 200), 1);
  EXPECT_EQ(write(appender.get(), "Z", 1), 1);
  EXPECT_EQ(map[200], 'Y');
  munmap(map, 65'536);
  const std::string bytes = Content::read(path);
  EXPECT_EQ(bytes.substr(0, 1) + bytes.substr(100, 1) + bytes.substr(200, 1) + bytes.substr(65'536), "2XYZ");
}

TEST_P(ReplacementTest, ReadersGoOnAndTheOldInodeIsFreeAtOnce) {
  const std::string bytes = Content::text(500'000);
  const std::string path = mounted_->at("f");
  Content::write(path, bytes);
  Content::compress(path);
  // A compressed file is read by way of the daemon, so its readers can be moved.
  const FileDescriptor reader = Content::open(path);
  char byte = 0;
  ASSERT_EQ(pread(reader.get(), &byte, 1, 0), 1);
  struct stat before{};
  ASSERT_EQ(fstat(reader.get(), &before), 0);
  const auto result = FileCompressor::decompress(FilePath(path));
  ASSERT_TRUE(result) << describe(result.error());
  EXPECT_EQ(Content::read(reader), bytes);
  struct stat after{};
  ASSERT_EQ(fstat(reader.get(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  for (const auto& file : mounted_->openFiles()) {
    EXPECT_FALSE(file.target.starts_with(path) && file.target.ends_with("(deleted)"));
  }
  Content::compress(path);
  EXPECT_EQ(Content::read(reader), bytes);
}

// Writers of every kind against compress and decompress loops: every byte for which a call returned must be there.
TEST_P(ReplacementTest, NothingWrittenIsLostWhileFilesAreSwapped) {
  const std::string base = Content::text(40'000);
  for (const char* name : {"append", "map", "rename0", "count"}) Content::write(mounted_->at(name), base);
  std::atomic<bool> isOver = false;
  // The longest pause between two acts of a worker, in microseconds: as long as a swap needs to come between.
  std::atomic<unsigned> pause = 12'000;
  std::string appended = base;
  std::string mapped = base;
  std::size_t changed = 0;
  std::size_t counted = 0;
  std::atomic<int> renames = 0;
  std::vector<std::jthread> workers;
  const auto work = [&](auto act) {
    workers.emplace_back([&isOver, &pause, seed = workers.size(), act] {
      std::mt19937 random(static_cast<unsigned>(seed));
      for (; !isOver; std::this_thread::sleep_for(std::chrono::microseconds(random() % pause))) act();
    });
  };
  work([&] {  // opens, appends, closes
    EXPECT_EQ(write(Content::open(mounted_->at("append"), O_WRONLY | O_APPEND).get(), "0123456789", 10), 10);
    appended += "0123456789";
  });
  work([&] {  // maps, closes, changes, unmaps
    FileDescriptor file = Content::open(mounted_->at("map"), O_RDWR);
    void* map = mmap(nullptr, base.size(), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    ASSERT_NE(map, MAP_FAILED);
    file.reset();
    std::this_thread::yield();
    mapped[changed] = static_cast<char*>(map)[changed] = 'M';
    munmap(map, base.size());
    changed = (changed + 4099) % base.size();
  });
  work([&] {
    const std::string to = mounted_->at("rename" + std::to_string(renames + 1));
    EXPECT_EQ(rename(mounted_->at("rename" + std::to_string(renames)).c_str(), to.c_str()), 0);
    ++renames;
  });
  work([&] {  // replaces by what is written anew, and in place
    const std::string path = mounted_->at("count");
    const std::string written = counted % 2 == 0 ? path : path + ".new";
    Content::write(written, base + std::to_string(counted + 1));
    EXPECT_EQ(rename(written.c_str(), path.c_str()), 0);
    ++counted;
  });
  work([&] { EXPECT_TRUE(Content::read(mounted_->at("append")).starts_with(base)); });
  std::map<std::string, int> swaps{{"append", 0}, {"map", 0}, {"rename", 0}, {"count", 0}};
  const auto isMissing = [&swaps] {
    return std::ranges::any_of(swaps, [](const auto& entry) { return entry.second == 0; });
  };
  constexpr unsigned longestPause = 3'000'000;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  // Every kind must have been swapped: on a busy machine the workers are slowed down until it has.
  while (!HasFailure() && (std::chrono::steady_clock::now() < end || (isMissing() && pause < longestPause))) {
    for (auto& [kind, count] : swaps) {
      const FilePath path(mounted_->at(kind == "rename" ? kind + std::to_string(renames) : kind));
      count += FileCompressor::compress(path) ? 1 : 0;
      count += FileCompressor::decompress(path) ? 1 : 0;
    }
    if (isMissing()) pause = pause + pause / 4;
  }
  isOver = true;
  workers.clear();
  EXPECT_TRUE(Content::read(mounted_->at("append")) == appended);
  EXPECT_TRUE(Content::read(mounted_->at("map")) == mapped);
  EXPECT_TRUE(Content::read(mounted_->at("rename" + std::to_string(renames))) == base);
  EXPECT_EQ(Content::read(mounted_->at("count")).substr(base.size()), std::to_string(counted));
  for (const auto& [kind, count] : swaps) std::cout << count << " swaps against " << kind << '\n';
  EXPECT_FALSE(isMissing());
}

std::uint64_t usedByteCount(const std::string& folder) {
  const auto space = std::filesystem::space(folder);
  return space.capacity - space.free;
}

// The daemon and the kernel keep hold of what was opened a short while ago, so that it opens faster again.
TEST(ReplacementSpaceTest, WhatTheKernelServedByItselfIsFreedAsWell) {
  if (const auto obstacle = MountedFolder::obstacle()) GTEST_SKIP() << *obstacle;
  const ScratchFolder scratch;
  const std::string folder = scratch.folder().bytes();
  const SmallFileSystem host(folder, "size=64m");
  if (const auto obstacle = host.obstacle()) GTEST_SKIP() << *obstacle;
  const MountedFolder mounted(folder);
  ASSERT_TRUE(mounted.isMounted());
  const std::string path = mounted.at("f");
  const std::string bytes = Content::text(8'000'000);
  Content::write(path, bytes);
  EXPECT_EQ(Content::read(path), bytes);
  EXPECT_EQ(Content::read(path), bytes);
  const std::uint64_t full = usedByteCount(folder);
  Content::compress(path);
  EXPECT_LT(usedByteCount(folder), full / 2) << "replaced";
  EXPECT_EQ(Content::read(path), bytes);
  ASSERT_TRUE(FileCompressor::decompress(FilePath(path)));
  EXPECT_EQ(Content::read(path), bytes);
  ASSERT_EQ(unlink(path.c_str()), 0);
  // The kernel says a moment later that it has forgotten the file.
  for (int attempt = 0; attempt < 1000 && usedByteCount(folder) >= full / 2; ++attempt) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_LT(usedByteCount(folder), full / 2) << "unlinked";
}

INSTANTIATE_TEST_SUITE_P(Owners, ReplacementTest, testing::ValuesIn(owners), ownerName);

}  // namespace
}  // namespace quillbrook
