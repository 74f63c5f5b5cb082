// SPDX-License-Identifier: MIT
// The engine on the real file system, in a bare folder that counts as a volume.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>

#include "Compression/FileCompressionInspector.h"
#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "Route.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/OrdinaryUser.h"

namespace quillbrook {
namespace {

using TestData::Bytes;

class NativeFileCompressorTest : public testing::TestWithParam<Route> {
 protected:
  void write(const Bytes& content) const {
    folder_.write(url_.name(), {reinterpret_cast<const char*>(content.data()), content.size()});
  }
  // What programs in a volume read. Nothing for a file that cannot be read.
  [[nodiscard]] std::optional<Bytes> read() const {
    const auto reader = FileSystem::native().openForReading(url_);
    if (!reader) return std::nullopt;
    Bytes content;
    std::array<std::uint8_t, 10'000> piece;
    for (;;) {
      const auto count = (*reader)->read(piece);
      if (!count) return std::nullopt;
      if (*count == 0) return content;
      content.insert(content.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(*count));
    }
  }
  [[nodiscard]] bool isAlone() const {
    return std::distance(std::filesystem::directory_iterator(folder_.folder().bytes()), {}) == 1;
  }

  const ScratchFolder folder_;
  const FilePath url_ = folder_.path("\xFF name\n");
  std::optional<VolumeRegistration> volume_{std::in_place, folder_.folder()};
};

TEST_F(NativeFileCompressorTest, EverySizeComesBackWithItsMetadata) {
  using TestData::noise;
  using TestData::text;
  FileSystem& native = FileSystem::native();
  // What the in-memory route makes of it; streams are always forks.
  const std::vector<std::pair<Bytes, std::string>> cases{
      {{}, "compressionDidNotReduceSize"},
      {text(1), "compressionDidNotReduceSize"},
      {noise(3'774), "compressionDidNotReduceSize"},
      {noise(3'775), "lzfseRsrc"},  // too long for the attribute; grown, and swapped in all the same
      {text(4'095), "lzfseAttr"},
      {text(4'096), "lzfseAttr"},
      {Bytes(16'384, 0), "lzfseAttr"},
      {Bytes(16'385, 0), "lzfseRsrc"},
      {noise(65'536), "lzfseRsrc"},
      {text(65'537), "lzfseRsrc"},
      {text(1'000'000), "lzfseRsrc"},
  };
  for (const auto& [content, algorithm] : cases) {
    for (const bool streams : {false, true}) {
      SCOPED_TRACE((streams ? "streaming " : "in memory ") + std::to_string(content.size()));
      const auto size = static_cast<std::int64_t>(content.size());
      write(content);
      const std::array<std::uint8_t, 3> value{1, 2, 3};
      ASSERT_TRUE(native.setxattr(url_, "com.example.value", value, {}));
      ASSERT_TRUE(native.chmod(url_, 06'750));
      ASSERT_TRUE(native.setFileTimes(url_, {1'111'111'111, 1}, {1'222'222'222, 999'999'999}));
      // Everything but the inode and what the operation is for.
      const auto identity = [&] {
        FileStatus status = native.lstat(url_).value();
        status.st_ino = 0;
        status.st_blocks = 0;
        status.st_flags &= ~UF_COMPRESSED;
        return status;
      };
      FileStatus before = identity();
      const std::int64_t threshold = streams ? size : size + 1;
      const auto compressed = FileCompressor::compress(url_, threshold);
      const std::string outcome(compressed ? name(*compressed->algorithm) : caseName(compressed.error()));
      ASSERT_EQ(outcome, streams ? "lzfseRsrc" : algorithm);
      EXPECT_TRUE(!compressed || identity() == before);
      EXPECT_EQ(read(), content);
      if (!compressed) continue;
      EXPECT_EQ(compressed->bytesBefore, size);
      EXPECT_EQ(compressed->bytesAfter, native.lstat(url_)->st_blocks * 512);
      const auto info = FileCompressionInspector::inspect(url_);
      ASSERT_TRUE(info);
      EXPECT_EQ(info->status, FileCompressionStatus(Compressed{*compressed->algorithm, content.size()}));
      EXPECT_EQ(info->logicalSize, content.size());

      before = identity();  // reading has touched the access time
      const auto decompressed = FileCompressor::decompress(url_, threshold);
      ASSERT_TRUE(decompressed);
      EXPECT_EQ(std::tuple(decompressed->bytesBefore, decompressed->bytesAfter), std::tuple(size, size));
      EXPECT_EQ(identity(), before);
      EXPECT_EQ(native.lstat(url_)->st_flags, 0U);
      EXPECT_EQ(read(), content);
      std::array<std::uint8_t, 3> carried{};
      EXPECT_TRUE(native.getxattr(url_, "com.example.value", carried, {}));
      EXPECT_EQ(carried, value);
      EXPECT_FALSE(native.getxattr(url_, WorkFile::marker, {}, {}));
      EXPECT_TRUE(isAlone());
    }
  }
}

TEST_F(NativeFileCompressorTest, OutsideAVolumeNothingIsCompressed) {
  volume_.reset();
  write(TestData::text(70'000));
  for (const bool streams : {false, true}) {
    EXPECT_EQ((Route{true, streams}.run(url_)), "ioError(" + url_.displayText() + ".slimtmp, chflags: errno=" +
                                                    std::to_string(ErrorNumber::notSupported.value) + ")");
    EXPECT_EQ(read(), TestData::text(70'000));
    EXPECT_TRUE(isAlone());
  }
}

// A lease is the owner's; others lock without one, and what they replace becomes theirs.
TEST_F(NativeFileCompressorTest, WhoMayOnlyReadAFileGetsItBackToo) {
  const Bytes content = TestData::text(70'000);
  FileSystem& native = FileSystem::native();
  ASSERT_TRUE(native.chmod(folder_.folder(), 0777));
  for (const bool streams : {false, true}) {
    write(content);
    ASSERT_EQ((Route{true, streams}.run(url_)), "success");
    volume_.reset();
    {
      const OrdinaryUser user;
      if (!user.isOrdinary()) GTEST_SKIP() << "this user cannot become another one";
      EXPECT_EQ((Route{false, streams}.run(url_)), "success");
      EXPECT_EQ(native.lstat(url_)->st_uid, ::geteuid());
    }
    volume_.emplace(folder_.folder());
    EXPECT_EQ(read(), content);
    EXPECT_TRUE(isAlone());
    std::filesystem::remove(url_.bytes());
  }
}

TEST_F(NativeFileCompressorTest, DamageIsToldInTheSystemsWordsAndLeftAlone) {
  write(TestData::text(200'000));
  ASSERT_EQ((Route{true, false}.run(url_)), "success");
  {
    std::fstream raw(url_.bytes(), std::ios::binary | std::ios::in | std::ios::out);
    raw.seekp(30).put('\x55');
  }
  for (const bool streams : {false, true}) {
    EXPECT_EQ((Route{false, streams}.run(url_)),
              "ioError(" + url_.displayText() + ", read compressed: Input/output error)");
    EXPECT_FALSE(read());
    EXPECT_TRUE(isAlone());
  }
}

TEST_F(NativeFileCompressorTest, OperationsOnOneFileExcludeEachOther) {
  const Bytes content = TestData::text(20'000);
  write(content);
  std::atomic<bool> stopped = false;
  std::atomic<int> wrongReads = 0;
  std::atomic<int> swaps = 0;
  {
    std::array<std::jthread, routes.size()> threads;
    std::ranges::transform(routes, threads.begin(), [&](const Route& route) {
      return std::jthread([&, route] {
        for (int i = 0; i < 150; ++i) {
          const std::string result = route.run(url_);
          if (result == "success") ++swaps;
          EXPECT_THAT(result.substr(0, result.find('(')),
                      testing::AnyOf("success", "fileInUse", "alreadyCompressed", "notCompressed",
                                     // The exchanged old file may still be at the work file's name.
                                     "fileChangedDuringOperation", "temporaryFileConflict"));
        }
      });
    });
    const std::jthread reader([&] {
      while (!stopped) wrongReads += read() != content ? 1 : 0;
    });
    for (std::jthread& thread : threads) thread.join();
    stopped = true;
  }
  EXPECT_EQ(wrongReads, 0);
  EXPECT_GT(swaps, 0);
  EXPECT_EQ(read(), content);
  EXPECT_TRUE(isAlone());
}

// Runs the operation in a process of its own that is killed just before that call of the file system. Whether it got
// there.
bool isKilledAtCall(const Route& route, const FilePath& url, std::size_t fatal) {
  const pid_t child = fork();
  if (child == 0) {
    FaultyFileSystem fileSystem(FileSystem::native(), [&](const FaultyFileSystem::Call& call) {
      if (call.number == fatal) static_cast<void>(raise(SIGKILL));
      return std::nullopt;
    });
    _exit(route.run(url, fileSystem) == "success" ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

using CrashTest = NativeFileCompressorTest;

TEST_P(CrashTest, TheFileIsWholeAndTheNextAttemptSucceeds) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer ends a child that starts a thread";
#endif
  const Route& route = GetParam();
  FileSystem& native = FileSystem::native();
  const FilePath workFile = WorkFile::url(url_);
  const Bytes content = TestData::text(route.streams ? 70'000 : 20'000);
  int conflicts = 0;
  bool killed = true;
  for (std::size_t call = 0; killed; ++call) {
    SCOPED_TRACE(call);
    std::filesystem::remove(url_.bytes());
    write(content);
    ASSERT_TRUE(native.chmod(url_, 0640));
    if (!route.compresses) {
      ASSERT_EQ(routes[0].run(url_), "success");
    }
    const auto before = native.lstat(url_);
    ASSERT_TRUE(before);
    killed = isKilledAtCall(route, url_, call);

    EXPECT_EQ(read(), content);
    const auto after = native.lstat(url_);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->st_mode, before->st_mode);
    EXPECT_EQ(after->st_mtimespec, before->st_mtimespec);
    const bool replaced = after->st_ino != before->st_ino;
    EXPECT_EQ(((after->st_flags ^ before->st_flags) & UF_COMPRESSED) != 0, replaced);

    const bool unmarked = native.lstat(workFile) && !native.getxattr(workFile, WorkFile::marker, {}, {});
    std::string expected = unmarked ? "temporaryFileConflict" : "success";
    if (replaced) expected = route.compresses ? "alreadyCompressed" : "notCompressed";
    EXPECT_THAT(route.run(url_), testing::StartsWith(expected));
    EXPECT_EQ(read(), content);
    EXPECT_EQ(native.lstat(workFile).has_value(), unmarked);
    if (unmarked) {
      ++conflicts;
      ASSERT_TRUE(native.unlink(workFile));
    }
  }
  // Between creation and marking, and between the marker's removal and the swap.
  EXPECT_EQ(conflicts, 2);
}

INSTANTIATE_TEST_SUITE_P(Routes, CrashTest, testing::ValuesIn(routes), routeName);

}  // namespace
}  // namespace quillbrook
