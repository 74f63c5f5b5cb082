// SPDX-License-Identifier: MIT
// The engine on the real file system, in a bare folder that counts as a volume.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Compression/FileCompressionInspector.h"
#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Linux/VolumeRegistration.h"
#include "TestData.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
namespace fs = std::filesystem;

class NativeFileCompressorTest : public testing::Test {
 protected:
  NativeFileCompressorTest() {
    std::string name = (fs::temp_directory_path() / "quillbrook-engine-XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    folder_ = FilePath(name);
  }
  ~NativeFileCompressorTest() override { fs::remove_all(folder_.bytes()); }

  void write(const FilePath& path, const Bytes& content) const {
    std::ofstream(path.bytes(), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
  }

  // What programs in a volume read. Nothing for a file that cannot be read.
  static std::optional<Bytes> read(const FilePath& path) {
    const auto reader = FileSystem::native().openForReading(path);
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

  FilePath folder_;
};

template <typename Error>
std::string outcome(const std::expected<CompressionResult, Error>& result) {
  return result ? "success" : std::string(caseName(result.error()));
}

TEST_F(NativeFileCompressorTest, EverySizeComesBackWithItsMetadata) {
  const VolumeRegistration volume(folder_);
  FileSystem& native = FileSystem::native();
  for (const std::size_t size : {0U, 1U, 4'095U, 4'096U, 16'384U, 16'385U, 65'536U, 65'537U, 1'000'000U}) {
    for (const std::int64_t threshold : {std::int64_t{0}, FileCompressor::defaultStreamingThreshold}) {
      SCOPED_TRACE(std::to_string(size) + ", threshold " + std::to_string(threshold));
      const FilePath url = folder_.appending("\xFF name\n");
      const Bytes content = TestData::text(size);
      write(url, content);
      const std::array<std::uint8_t, 3> value{1, 2, 3};
      ASSERT_TRUE(native.setxattr(url, "com.example.value", value, {}));
      ASSERT_TRUE(native.chmod(url, 06'750));
      ASSERT_TRUE(native.setFileTimes(url, {1'111'111'111, 1}, {1'222'222'222, 999'999'999}));
      // Everything but the inode and what the operation is for.
      const auto identity = [&] {
        FileStatus status = native.lstat(url).value();
        status.st_ino = 0;
        status.st_blocks = 0;
        status.st_flags &= ~UF_COMPRESSED;
        return status;
      };
      FileStatus before = identity();
      const auto compressed = FileCompressor::compress(url, threshold);
      if (size <= 1 && threshold != 0) {
        EXPECT_EQ(outcome(compressed), "compressionDidNotReduceSize");
        ASSERT_TRUE(native.unlink(url));
        continue;
      }
      ASSERT_EQ(outcome(compressed), "success");
      EXPECT_EQ(identity(), before);
      EXPECT_EQ(read(url), content);
      const auto info = FileCompressionInspector::inspect(url);
      ASSERT_TRUE(info);
      EXPECT_EQ(info->status, FileCompressionStatus(Compressed{*compressed->algorithm, size}));
      EXPECT_EQ(info->logicalSize, size);

      before = identity();  // reading has touched the access time
      ASSERT_EQ(outcome(FileCompressor::decompress(url, threshold)), "success");
      EXPECT_EQ(identity(), before);
      EXPECT_EQ(native.lstat(url)->st_flags, 0U);
      EXPECT_EQ(read(url), content);
      std::array<std::uint8_t, 3> carried{};
      EXPECT_TRUE(native.getxattr(url, "com.example.value", carried, {}));
      EXPECT_EQ(carried, value);
      EXPECT_FALSE(native.getxattr(url, WorkFile::marker, {}, {}));
      ASSERT_TRUE(native.unlink(url));
    }
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.bytes()), fs::directory_iterator()), 0);
}

TEST_F(NativeFileCompressorTest, OutsideAVolumeNothingIsCompressed) {
  const FilePath url = folder_.appending("a");
  write(url, TestData::text(70'000));
  for (const std::int64_t threshold : {std::int64_t{0}, FileCompressor::defaultStreamingThreshold}) {
    const auto result = FileCompressor::compress(url, threshold);
    ASSERT_FALSE(result);
    EXPECT_EQ(describe(result.error()), "ioError(" + url.bytes() + ".slimtmp, chflags: errno=" +
                                            std::to_string(ErrorNumber::notSupported.value) + ")");
    EXPECT_EQ(read(url), TestData::text(70'000));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.bytes()), fs::directory_iterator()), 1);
  }
}

TEST_F(NativeFileCompressorTest, WriterAndLockHolderAreNoticed) {
  const VolumeRegistration volume(folder_);
  const FilePath url = folder_.appending("a");
  write(url, TestData::text(70'000));
  {
    const auto other = FileSystem::native().openForLocking(url);
    ASSERT_TRUE(other);
    ASSERT_TRUE((*other)->flock());
    EXPECT_EQ(outcome(FileCompressor::compress(url)), "fileInUse");
  }
  {
    const std::ofstream writer(url.bytes(), std::ios::binary | std::ios::app);
    EXPECT_EQ(outcome(FileCompressor::compress(url)), "fileInUse");
  }
  const auto append = [&]() -> std::expected<void, FileCompressionError> {
    std::ofstream(url.bytes(), std::ios::binary | std::ios::app) << "more";
    return {};
  };
  EXPECT_EQ(outcome(FileCompressor::compress(url, 0, append)), "fileChangedDuringOperation");
  auto expected = TestData::text(70'000);
  for (const char c : {'m', 'o', 'r', 'e'}) expected.push_back(static_cast<std::uint8_t>(c));
  EXPECT_EQ(read(url), expected);
  EXPECT_FALSE(fs::exists(WorkFile::url(url).bytes()));
}

TEST_F(NativeFileCompressorTest, OperationsOnOneFileExcludeEachOther) {
  const VolumeRegistration volume(folder_);
  const FilePath url = folder_.appending("a");
  const Bytes content = TestData::text(20'000);
  write(url, content);
  std::atomic<bool> stopped = false;
  std::atomic<int> wrongReads = 0;
  std::atomic<int> swaps = 0;
  {
    std::vector<std::jthread> threads;
    for (const bool compresses : {true, true, false, false}) {
      threads.emplace_back([&, compresses] {
        for (int i = 0; i < 150; ++i) {
          const std::int64_t threshold = i % 2 == 0 ? 0 : FileCompressor::defaultStreamingThreshold;
          const std::string result = compresses ? outcome(FileCompressor::compress(url, threshold))
                                                : outcome(FileCompressor::decompress(url, threshold));
          if (result == "success") ++swaps;
          static const std::set<std::string> allowed{"success", "fileInUse", "alreadyCompressed", "notCompressed",
                                                     "fileChangedDuringOperation"};
          EXPECT_TRUE(allowed.contains(result)) << result;
        }
      });
    }
    std::jthread reader([&] {
      while (!stopped) {
        if (read(url) != content) ++wrongReads;
      }
    });
    threads.clear();
    stopped = true;
  }
  EXPECT_EQ(wrongReads, 0);
  EXPECT_GT(swaps, 0);
  EXPECT_EQ(read(url), content);
  EXPECT_FALSE(fs::exists(WorkFile::url(url).bytes()));
}

class CrashTest : public NativeFileCompressorTest, public testing::WithParamInterface<std::tuple<bool, bool>> {
 protected:
  // Runs the operation in a process of its own that ends before that call. Its exit code.
  int runUntil(const std::string& operation, std::size_t call) const {
    std::array<std::string, 5> arguments{CRASHING_OPERATION, folder_.bytes(), operation, threshold_,
                                         std::to_string(call)};
    std::array<char*, 6> pointers{};
    for (std::size_t i = 0; i < arguments.size(); ++i) pointers[i] = arguments[i].data();
    pid_t child = 0;
    EXPECT_EQ(posix_spawn(&child, pointers[0], nullptr, nullptr, pointers.data(), environ), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const bool compresses_ = std::get<0>(GetParam());
  const bool streams_ = std::get<1>(GetParam());
  const std::string threshold_ = streams_ ? "0" : "16777216";
};

TEST_P(CrashTest, TheFileIsWholeAndTheNextAttemptSucceeds) {
  const VolumeRegistration volume(folder_);
  FileSystem& native = FileSystem::native();
  const FilePath url = folder_.appending("a");
  const FilePath workFile = WorkFile::url(url);
  const Bytes content = TestData::text(streams_ ? 70'000 : 20'000);
  const std::int64_t threshold = std::stoll(threshold_);
  int conflicts = 0;
  bool completed = false;
  for (std::size_t call = 0; !completed; ++call) {
    SCOPED_TRACE(call);
    fs::remove(url.bytes());
    write(url, content);
    ASSERT_TRUE(native.chmod(url, 0640));
    if (!compresses_) {
      ASSERT_TRUE(FileCompressor::compress(url));
    }
    const auto before = native.lstat(url);
    ASSERT_TRUE(before);

    const int code = runUntil(compresses_ ? "compress" : "decompress", call);
    ASSERT_TRUE(code == 42 || code == 0) << code;
    completed = code == 0;

    EXPECT_EQ(read(url), content);
    const auto after = native.lstat(url);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->st_mode, before->st_mode);
    EXPECT_EQ(after->st_mtimespec, before->st_mtimespec);
    const bool replaced = after->st_ino != before->st_ino;
    EXPECT_EQ(((after->st_flags ^ before->st_flags) & UF_COMPRESSED) != 0, replaced);

    const bool unmarked = native.lstat(workFile) && !native.getxattr(workFile, WorkFile::marker, {}, {});
    const std::string again = compresses_ ? outcome(FileCompressor::compress(url, threshold))
                                          : outcome(FileCompressor::decompress(url, threshold));
    if (replaced) {
      EXPECT_EQ(again, compresses_ ? "alreadyCompressed" : "notCompressed");
    } else {
      EXPECT_EQ(again, unmarked ? "temporaryFileConflict" : "success");
    }
    EXPECT_EQ(read(url), content);
    EXPECT_EQ(native.lstat(workFile).has_value(), unmarked);
    if (unmarked) {
      ++conflicts;
      ASSERT_TRUE(native.unlink(workFile));
    }
  }
  // Between creation and marking, and between the marker's removal and the swap.
  EXPECT_EQ(conflicts, 2);
}

INSTANTIATE_TEST_SUITE_P(Routes, CrashTest, testing::Combine(testing::Bool(), testing::Bool()), [](const auto& route) {
  return std::string(std::get<1>(route.param) ? "Streaming" : "InMemory") +
         (std::get<0>(route.param) ? "Compress" : "Decompress");
});

}  // namespace
}  // namespace quillbrook
