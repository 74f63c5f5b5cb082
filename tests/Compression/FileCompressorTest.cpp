// SPDX-License-Identifier: MIT
// What compress and decompress accept, refuse and carry over, on a file system in memory.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "Compression/FileCompressor.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "Platform/ReservedNames.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using TestData::noise;
using TestData::text;

const FilePath url("/folder/a");
const FilePath workFile("/folder/a.slimtmp");
const std::string marker(WorkFile::marker);
constexpr std::int64_t inMemory = FileCompressor::defaultStreamingThreshold;
constexpr std::int64_t streaming = 0;

template <typename Error>
std::string outcome(const std::expected<CompressionResult, Error>& result) {
  if (!result) return describe(result.error());
  return (result->algorithm ? std::string(name(*result->algorithm)) : "none") + " " +
         std::to_string(result->bytesBefore) + " " + std::to_string(result->bytesAfter);
}

std::string compress(MemoryFileSystem& memory, std::int64_t threshold = inMemory,
                     const FileCompressor::BeforeSwap& beforeSwap = nullptr) {
  return outcome(FileCompressor::compress(url, threshold, beforeSwap, memory));
}
std::string decompress(MemoryFileSystem& memory, std::int64_t threshold = inMemory,
                       const FileCompressor::BeforeSwap& beforeSwap = nullptr) {
  return outcome(FileCompressor::decompress(url, threshold, beforeSwap, memory));
}

TEST(FileCompressorTest, RefusesInOrderAndTouchesNothing) {
  using Node = MemoryFileSystem::Node;
  const auto compressed = [](Node& node) { node.status.st_flags |= UF_COMPRESSED; };
  const auto large = [](Node& node) { node.shownSize = 2'147'483'648; };
  const auto forked = [](Node& node) { node.attributes["com.apple.ResourceFork"] = {1}; };
  const auto linked = [](Node& node) { node.status.st_nlink = 2; };
  const auto locked = [](Node& node) { node.isLocked = true; };
  const auto symbolicLink = [](Node& node) { node.status.kind = FileKind::symbolicLink; };
  const struct {
    std::vector<std::function<void(Node&)>> traits;
    std::string onCompress;
    std::string onDecompress;
  } cases[]{
      {{symbolicLink, linked, compressed}, "symbolicLink(/folder/a)", "symbolicLink(/folder/a)"},
      {{[](Node& node) { node.status.kind = FileKind::directory; }, linked},
       "notARegularFile(/folder/a)",
       "notARegularFile(/folder/a)"},
      {{[](Node& node) { node.status.kind = FileKind::other; }},
       "notARegularFile(/folder/a)",
       "notARegularFile(/folder/a)"},
      {{linked, compressed}, "hardLinked(/folder/a, nlink: 2)", "hardLinked(/folder/a, nlink: 2)"},
      {{compressed, large, locked}, "alreadyCompressed(/folder/a)", "fileInUse(/folder/a)"},
      {{large, forked}, "fileTooLargeForFormat(/folder/a, sizeBytes: 2147483648)", "notCompressed(/folder/a)"},
      {{forked, locked}, "hasResourceFork(/folder/a)", "notCompressed(/folder/a)"},
      {{locked}, "fileInUse(/folder/a)", "notCompressed(/folder/a)"},
  };
  for (const auto& c : cases) {
    MemoryFileSystem memory;
    Node& node = memory.put(url, text(5'000));
    for (const auto& trait : c.traits) trait(node);
    const Node before = node;
    EXPECT_EQ(compress(memory), c.onCompress);
    EXPECT_EQ(decompress(memory), c.onDecompress);
    EXPECT_EQ(memory.at(url), before);
    EXPECT_FALSE(memory.exists(workFile));
  }
  MemoryFileSystem empty;
  EXPECT_EQ(compress(empty), "fileNotFound(/folder/a)");
  EXPECT_EQ(decompress(empty), "fileNotFound(/folder/a)");
}

TEST(FileCompressorTest, AcceptsTheLargestFileAndAnEmptyFork) {
  MemoryFileSystem memory;
  auto& node = memory.put(url, text(5'000));
  node.attributes["com.apple.ResourceFork"] = {};
  node.shownSize = 2'147'483'647;
  // It gets as far as the content, which is much shorter than what was shown.
  EXPECT_EQ(compress(memory), "ioError(/folder/a, unexpected EOF (got 5000, expected 65536))");
  EXPECT_FALSE(memory.exists(workFile));
}

TEST(FileCompressorTest, CompressesAndDecompresses) {
  const struct {
    Bytes content;
    std::int64_t threshold;
    std::string onCompress;
  } cases[]{
      {text(100), inMemory, "lzfseAttr 100 4096"},
      {Bytes(16'384, 0), inMemory, "lzfseAttr 16384 4096"},
      {Bytes(16'385, 0), inMemory, "lzfseRsrc 16385 4096"},
      {noise(4'000), inMemory, "lzfseRsrc 4000 4096"},
      {noise(8'150), inMemory, "lzfseRsrc 8150 8192"},
      {noise(8'190), inMemory, "lzfseRsrc 8190 12288"},  // grown, and swapped in all the same
      {Bytes(70'000, 'x'), inMemory, "lzfseRsrc 70000 4096"},
      {Bytes(70'000, 'x'), 70'001, "lzfseRsrc 70000 4096"},
      {text(100), 101, "lzfseAttr 100 4096"},
      {text(100), 100, "lzfseRsrc 100 4096"},
      {Bytes{}, streaming, "lzfseRsrc 0 4096"},
      {Bytes{}, inMemory, "compressionDidNotReduceSize(/folder/a)"},
      {noise(3'000), inMemory, "compressionDidNotReduceSize(/folder/a)"},
  };
  for (const auto& c : cases) {
    MemoryFileSystem memory;
    memory.put(url, c.content);
    EXPECT_EQ(compress(memory, c.threshold), c.onCompress);
    EXPECT_EQ(memory.read(url), c.content);
    if (c.onCompress.starts_with("compressionDid")) continue;
    EXPECT_TRUE(memory.at(url).data.empty());
    const auto size = std::to_string(c.content.size());
    for (const std::int64_t threshold : {inMemory, streaming}) {
      MemoryFileSystem compressed(memory);
      EXPECT_EQ(decompress(compressed, threshold), "none " + size + " " + size);
      EXPECT_EQ(compressed.at(url).data, c.content);
      EXPECT_TRUE(compressed.at(url).attributes.empty());
      EXPECT_EQ(compressed.at(url).status.st_flags, 0U);
      EXPECT_FALSE(compressed.exists(workFile));
    }
  }
}

TEST(FileCompressorTest, StreamsFrom16MiBOn) {
  for (const std::size_t size : {16'777'215U, 16'777'216U}) {
    MemoryFileSystem memory;
    const Bytes content(size, 'x');
    memory.put(url, content);
    FaultyFileSystem counting(memory, nullptr);
    const auto result = FileCompressor::compress(url, FileCompressor::defaultStreamingThreshold, nullptr, counting);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->algorithm, CompressionType::lzfseRsrc);
    EXPECT_EQ(memory.read(url), content);
    const bool streamed =
        std::ranges::any_of(counting.calls(), [](const auto& call) { return call.operation == "openResourceFork"; });
    EXPECT_EQ(streamed, size == 16'777'216);
  }
}

TEST(FileCompressorTest, BothRoutesWriteTheSamePayload) {
  MemoryFileSystem memory;
  memory.put(url, text(200'000));
  MemoryFileSystem other(memory);
  EXPECT_EQ(compress(memory), compress(other, streaming));
  EXPECT_EQ(memory.at(url).attributes, other.at(url).attributes);
}

TEST(FileCompressorTest, CarriesEverythingOver) {
  MemoryFileSystem memory;
  auto& original = memory.put(url, text(70'000));
  original.status.st_uid = 1'000;
  original.status.st_gid = 1'001;
  original.status.st_mode = 06'751;
  original.status.st_flags = UF_NODUMP;
  original.accessControlList = "user:33:r--";
  original.attributes = {{"com.example.empty", {}},
                         {"com.example.large", noise(5'000)},
                         {marker, {2}},
                         {"not \xFF UTF-8", {1}},
                         {"\xE6\x97\xA5", {3}}};
  auto expected = original;
  expected.attributes.erase(marker);
  expected.attributes.erase("not \xFF UTF-8");
  for (const auto& [first, second] : {std::pair(inMemory, streaming), std::pair(streaming, inMemory)}) {
    MemoryFileSystem copy(memory);
    ASSERT_TRUE(compress(copy, first).starts_with("lzfseRsrc"));
    EXPECT_EQ(copy.at(url).status.st_flags, UF_NODUMP | UF_COMPRESSED);
    EXPECT_EQ(copy.at(url).status.st_mtimespec, expected.status.st_mtimespec);
    EXPECT_EQ(copy.at(url).status.st_atimespec, expected.status.st_atimespec);
    ASSERT_TRUE(decompress(copy, second).starts_with("none"));
    auto after = copy.at(url);
    after.status.st_ino = expected.status.st_ino;
    EXPECT_EQ(after, expected);
  }
}

TEST(FileCompressorTest, DecompressesWhatOthersWrote) {
  for (const std::int64_t threshold : {inMemory, streaming}) {
    MemoryFileSystem memory;
    auto& node = memory.put(url, {});
    const auto header = DecmpfsHeader::encode(CompressionType::lzvnRsrc, 70'000);
    node.status.st_flags = UF_COMPRESSED;
    node.attributes[std::string(ReservedNames::decmpfs)] = {header.begin(), header.end()};
    node.attributes[std::string(ReservedNames::resourceFork)] = noise(10);
    node.foreignContent = text(70'000);
    EXPECT_EQ(decompress(memory, threshold), "none 70000 70000");
    EXPECT_EQ(memory.at(url).data, text(70'000));

    MemoryFileSystem lying;
    auto& liar = lying.put(url, {});
    liar.status.st_flags = UF_COMPRESSED;
    liar.attributes[std::string(ReservedNames::decmpfs)] = {header.begin(), header.end()};
    for (const std::size_t size : {69'999U, 70'001U, 0U}) {
      liar.foreignContent = text(size);
      EXPECT_EQ(decompress(lying, threshold), "roundtripVerificationFailed(/folder/a)");
      EXPECT_FALSE(lying.exists(workFile));
    }
  }
}

TEST(FileCompressorTest, NoticesEveryChangeUntilTheSwap) {
  const auto nothing = [](MemoryFileSystem&) {};
  const struct {
    std::function<void(MemoryFileSystem&)> change;
    std::string expected;
  } cases[]{
      {nothing, ""},
      {[](auto& memory) { memory.append(url, "more"); }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { ++memory.at(url).status.st_mtimespec.nanoseconds; }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { ++memory.at(url).status.st_mtimespec.seconds; }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { ++memory.at(url).status.st_ino; }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { ++memory.at(url).status.st_dev; }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { memory.at(url).isLockLost = true; }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { static_cast<void>(memory.unlink(url)); }, "fileChangedDuringOperation(/folder/a)"},
      {[](auto& memory) { memory.at(url).status.st_mode = 0600; }, ""},
  };
  MemoryFileSystem ordinary;
  ordinary.put(url, text(70'000));
  MemoryFileSystem compressed(ordinary);
  ASSERT_TRUE(compress(compressed).starts_with("lzfseRsrc"));
  for (const auto& c : cases) {
    for (const std::int64_t threshold : {inMemory, streaming}) {
      for (MemoryFileSystem* start : {&ordinary, &compressed}) {
        MemoryFileSystem memory(*start);
        std::optional<MemoryFileSystem::Node> changed;
        const auto change = [&]() -> std::expected<void, FileCompressionError> {
          EXPECT_TRUE(memory.at(workFile).attributes.contains(marker));
          c.change(memory);
          if (memory.exists(url)) changed = memory.at(url);
          return {};
        };
        const auto result =
            start == &ordinary ? compress(memory, threshold, change) : decompress(memory, threshold, change);
        if (c.expected.empty()) {
          EXPECT_TRUE(result.starts_with(start == &ordinary ? "lzfseRsrc" : "none")) << result;
          EXPECT_EQ(memory.at(url).status.st_mode, 0644U);
        } else {
          EXPECT_EQ(result, c.expected);
          ASSERT_EQ(memory.exists(url), changed.has_value());
          if (changed) {
            changed->isLocked = false;
            EXPECT_EQ(memory.at(url), *changed);
          }
        }
        EXPECT_FALSE(memory.exists(workFile));
      }
    }
  }
}

TEST(FileCompressorTest, ALockOnAFileThatWasSwappedOutCountsForNothing) {
  MemoryFileSystem memory;
  memory.put(url, text(5'000));
  FaultyFileSystem racing(memory, [&](const FaultyFileSystem::Call& call) -> std::optional<ErrorNumber> {
    if (call.operation == "flock") {
      // Another operation has ended here, and a third is at work on what it left.
      memory.put(url, text(5'000));
      memory.put(workFile, {}).attributes[marker] = {1};
    }
    return std::nullopt;
  });
  EXPECT_EQ(outcome(FileCompressor::compress(url, inMemory, nullptr, racing)), "fileChangedDuringOperation(/folder/a)");
  EXPECT_TRUE(memory.exists(workFile));
}

TEST(FileCompressorTest, AFailingHookStopsTheOperation) {
  MemoryFileSystem memory;
  memory.put(url, text(70'000));
  const auto refuse = []() -> std::expected<void, FileCompressionError> {
    return std::unexpected(IOError{url, "not now"});
  };
  const auto before = memory.at(url).status;
  for (const std::int64_t threshold : {inMemory, streaming}) {
    EXPECT_EQ(compress(memory, threshold, refuse), "ioError(/folder/a, not now)");
    EXPECT_FALSE(memory.exists(workFile));
    EXPECT_EQ(memory.at(url).status.st_ino, before.st_ino);
  }
}

TEST(FileCompressorTest, LeavesForeignWorkFilesAloneAndClearsItsOwn) {
  const struct {
    FileKind kind;
    bool marked;
    std::string expected;
  } cases[]{
      {FileKind::regular, false, "temporaryFileConflict(/folder/a.slimtmp)"},
      {FileKind::directory, true, "temporaryFileConflict(/folder/a.slimtmp)"},
      {FileKind::symbolicLink, true, "temporaryFileConflict(/folder/a.slimtmp)"},
      {FileKind::regular, true, ""},
  };
  for (const auto& c : cases) {
    for (const std::int64_t threshold : {inMemory, streaming}) {
      MemoryFileSystem memory;
      memory.put(url, text(70'000));
      auto& found = memory.put(workFile, TestData::bytes("somebody's"));
      found.status.kind = c.kind;
      if (c.marked) found.attributes[marker] = {1};
      const auto before = found;
      const std::size_t logged = Log::entries().size();
      const auto result = compress(memory, threshold);
      if (!c.expected.empty()) {
        EXPECT_EQ(result, c.expected);
        EXPECT_EQ(memory.at(workFile), before);
        EXPECT_EQ(Log::entries().size(), logged);
      } else {
        EXPECT_TRUE(result.starts_with("lzfseRsrc")) << result;
        EXPECT_FALSE(memory.exists(workFile));
        EXPECT_EQ(Log::entries().back().message, "removing stale slimtmp debris at <private>");
        EXPECT_EQ(Log::entries().back().level, LogLevel::standard);
        EXPECT_EQ(Log::entries().back().category, "compression");
      }
      EXPECT_EQ(memory.read(url), text(70'000));
      EXPECT_FALSE(memory.at(url).isLocked);
    }
  }
}

TEST(FileCompressorTest, GivesUpSuperUserFlags) {
  MemoryFileSystem memory;
  memory.put(url, text(70'000)).status.st_flags = SF_APPEND | UF_NODUMP;
  EXPECT_TRUE(compress(memory).starts_with("lzfseRsrc"));
  EXPECT_EQ(memory.at(url).status.st_flags, UF_NODUMP | UF_COMPRESSED);
}

TEST(FileCompressorTest, ReadbackCatchesWhatTheDiskGivesBackWrong) {
  // Flips one bit of the fork once the work file counts as compressed.
  class Damaging : public ForwardingFileSystem {
   public:
    Damaging(MemoryFileSystem& memory, std::size_t offset)
        : ForwardingFileSystem(memory), memory_(memory), offset_(offset) {}
    Result<void> chflags(const FilePath& path, std::uint32_t flags) override {
      auto result = ForwardingFileSystem::chflags(path, flags);
      auto& node = memory_.at(path);
      node.foreignContent = text(70'000 + growth);
      if (growth == 0) (*node.foreignContent)[offset_] ^= 1;
      return result;
    }
    std::size_t growth = 0;

   private:
    MemoryFileSystem& memory_;
    std::size_t offset_;
  };
  for (const std::size_t offset : {0U, 65'536U, 69'999U}) {
    MemoryFileSystem memory;
    memory.put(url, text(70'000));
    Damaging damaging(memory, offset);
    damaging.growth = offset == 65'536 ? 1 : 0;
    EXPECT_EQ(outcome(FileCompressor::compress(url, streaming, nullptr, damaging)),
              "roundtripVerificationFailed(/folder/a)");
    EXPECT_EQ(memory.at(url).data, text(70'000));
    EXPECT_FALSE(memory.exists(workFile));
  }
}

TEST(FileCompressorTest, NoticesASourceThatShrinksWhileItIsRead) {
  for (const std::size_t left : {0U, 65'536U, 65'600U}) {
    MemoryFileSystem memory;
    memory.put(url, text(70'000));
    FaultyFileSystem shrinking(memory, [&](const FaultyFileSystem::Call& call) -> std::optional<ErrorNumber> {
      if (call.operation == "openForReading") memory.at(url).data.resize(left);
      return std::nullopt;
    });
    const std::string place = left < 65'536    ? "got 0, expected 65536"
                              : left == 65'536 ? "got 0, expected 4464"
                                               : "got 64, expected 4464";
    EXPECT_EQ(outcome(FileCompressor::compress(url, streaming, nullptr, shrinking)),
              "ioError(/folder/a, unexpected EOF (" + place + "))");
    EXPECT_FALSE(memory.exists(workFile));
  }
}

}  // namespace
}  // namespace quillbrook
