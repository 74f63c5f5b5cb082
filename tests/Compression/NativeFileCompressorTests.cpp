// SPDX-License-Identifier: MIT
// The engine on the real file system, without a volume.

#include "Compression/FileCompressionInspector.h"
#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Route.h"
#include "Support/ChildProcess.h"
#include "Support/FaultyFileSystem.h"
#include "Support/OrdinaryUser.h"
#include "Support/ScratchFolder.h"
#include "TestData.h"

namespace quillbrook::test {
namespace {

class NativeFileCompressorTest : public testing::TestWithParam<Route> {
 protected:
  void write(const Bytes& content) const {
    folder_.write(url_.name(), {reinterpret_cast<const char*>(content.data()), content.size()});
  }
  // What programs in a volume read. Nothing for a file that cannot be read.
  [[nodiscard]] std::optional<Bytes> read() const { return read(url_); }
  [[nodiscard]] static std::optional<Bytes> read(const FilePath& url) {
    const auto reader = FileSystem::native().openForReading(url);
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
};

TEST_F(NativeFileCompressorTest, EverySizeComesBackWithItsMetadata) {
  FileSystem& native = CompressingFileSystem::instance();
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
        status.payload.reset();
        return status;
      };
      FileStatus before = identity();
      const std::int64_t threshold = streams ? size : size + 1;
      const auto compressed = FileCompressor::compress(url_, threshold, nullptr, native);
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

// A lease is the owner's; others lock without one, and what they replace becomes theirs.
TEST_F(NativeFileCompressorTest, WhoMayOnlyReadAFileGetsItBackToo) {
  const Bytes content = text(70'000);
  FileSystem& native = FileSystem::native();
  ASSERT_TRUE(native.chmod(folder_.folder(), 0777));
  for (const bool streams : {false, true}) {
    write(content);
    ASSERT_EQ((Route{true, streams}.run(url_)), "success");
    {
      const OrdinaryUser user;
      if (!user.isOrdinary()) GTEST_SKIP() << "this user cannot become another one";
      EXPECT_EQ((Route{false, streams}.run(url_, native)), "success");
      EXPECT_EQ(native.lstat(url_)->st_uid, ::geteuid());
    }
    EXPECT_EQ(read(), content);
    EXPECT_TRUE(isAlone());
    std::filesystem::remove(url_.bytes());
  }
}

TEST_F(NativeFileCompressorTest, OperationsOnOneFileExcludeEachOther) {
  const Bytes content = text(20'000);
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

using ExchangeTest = NativeFileCompressorTest;

// Another program exchanges two files of one size, or their folders, before any call, and perhaps back before the next.
TEST_P(ExchangeTest, NoContentIsLostWhenNamesChangePlaces) {
  const Route& route = GetParam();
  const std::array contents{text(70'000), noise(30'000) + text(40'000)};
  for (const auto& [first, second, isPutBack] : std::vector<std::tuple<const char*, const char*, bool>>{
           {"a/f", "b/f", false}, {"a/f", "b/f", true}, {"a", "b", false}, {"a", "b", true}}) {
    bool isExchanged = true;
    for (std::size_t fatal = 0; isExchanged; ++fatal) {
      SCOPED_TRACE(std::string(first) + (isPutBack ? ", put back" : "") + " before call " + std::to_string(fatal));
      const ScratchFolder folder;
      const std::array files{folder.path("a/f"), folder.path("b/f")};
      for (std::size_t i = 0; i < files.size(); ++i) {
        folder.write(i == 0 ? "a/f" : "b/f",
                     {reinterpret_cast<const char*>(contents.at(i).data()), contents.at(i).size()});
        if (!route.compresses) {
          ASSERT_EQ(routes[0].run(files.at(i)), "success");
        }
      }
      isExchanged = false;
      FaultyFileSystem fileSystem(CompressingFileSystem::instance(), [&](const FaultyFileSystem::Call& call) {
        if (call.number == fatal || (isPutBack && call.number == fatal + 1)) {
          isExchanged = true;
          EXPECT_EQ(
              ::renameat2(AT_FDCWD, folder.at(first).c_str(), AT_FDCWD, folder.at(second).c_str(), RENAME_EXCHANGE), 0);
        }
        return std::nullopt;
      });
      static_cast<void>(route.run(files[0], fileSystem));
      EXPECT_THAT((std::vector{read(files[0]), read(files[1])}),
                  testing::UnorderedElementsAre(contents[0], contents[1]));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, ExchangeTest, testing::ValuesIn(routes), routeName);

// Runs the operation in a process of its own that is killed just before that call of the file system. Whether it got
// there.
bool isKilledAtCall(const Route& route, const FilePath& url, std::size_t fatal) {
  const int status = inOtherProcess([&] {
    FaultyFileSystem fileSystem(CompressingFileSystem::instance(), [&](const FaultyFileSystem::Call& call) {
      if (call.number == fatal) static_cast<void>(raise(SIGKILL));
      return std::nullopt;
    });
    return route.run(url, fileSystem) == "success" ? 0 : 1;
  });
  EXPECT_TRUE(status == 0 || status == SIGKILL);
  return status == SIGKILL;
}

using CrashTest = NativeFileCompressorTest;

TEST_P(CrashTest, TheFileIsWholeAndTheNextAttemptSucceeds) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer ends a child that starts a thread";
#endif
  const Route& route = GetParam();
  FileSystem& native = FileSystem::native();
  const FilePath workFile = WorkFile::url(url_);
  const Bytes content = text(route.streams ? 70'000 : 20'000);
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
  EXPECT_EQ(conflicts, 0) << "it has its mark from birth to the swap";
}

// Whether the operation then ends or starts anew from what the file is by now.
TEST_P(CrashTest, AModeChangedAtAnyMomentStays) {
  const Route& route = GetParam();
  bool wasReached = true;
  for (std::size_t call = 0; wasReached; ++call) {
    SCOPED_TRACE(call);
    std::filesystem::remove(url_.bytes());
    write(text(route.streams ? 70'000 : 20'000));
    ASSERT_TRUE(FileSystem::native().chmod(url_, 0644));
    if (!route.compresses) {
      ASSERT_EQ(routes[0].run(url_), "success");
    }
    wasReached = false;
    FaultyFileSystem fileSystem(CompressingFileSystem::instance(), [&](const FaultyFileSystem::Call& made) {
      if (made.number == call) wasReached = ::chmod(url_.c_str(), 0600) == 0;
      return std::nullopt;
    });
    const std::string outcome = route.run(url_, fileSystem);
    EXPECT_TRUE(outcome == "success" || outcome.starts_with("fileChangedDuringOperation")) << outcome;
    EXPECT_EQ(FileSystem::native().lstat(url_)->st_mode, wasReached ? 0600U : 0644U) << outcome;
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, CrashTest, testing::ValuesIn(routes), routeName);

}  // namespace
}  // namespace quillbrook::test
