// SPDX-License-Identifier: MIT
// What compress and decompress accept, refuse and carry over, on a file system in memory.
#include <gtest/gtest.h>

#include <tuple>

#include "Compression/CompressionAttributes.h"
#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "TestData.h"
#include "support/FaultyFileSystem.h"
#include "support/MemoryFileSystem.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using TestData::noise;
using TestData::text;
using Node = MemoryFileSystem::Node;
using Call = FaultyFileSystem::Call;

const FilePath url("/a");
const FilePath workFile("/a.slimtmp");
const std::string marker(WorkFile::marker);
const std::string decmpfs(CompressionAttributes::decmpfs);
const std::string resourceFork(CompressionAttributes::resourceFork);
constexpr std::int64_t inMemory = FileCompressor::defaultStreamingThreshold;
constexpr std::int64_t streaming = 0;

template <typename Error>
std::string outcome(const std::expected<CompressionResult, Error>& result) {
  if (!result) return describe(result.error());
  return (result->algorithm ? std::string(name(*result->algorithm)) : "none") + " " +
         std::to_string(result->bytesBefore) + " " + std::to_string(result->bytesAfter);
}
std::string compress(FileSystem& fileSystem, std::int64_t threshold = inMemory,
                     const FileCompressor::BeforeSwap& beforeSwap = nullptr) {
  return outcome(FileCompressor::compress(url, threshold, beforeSwap, fileSystem));
}
std::string decompress(FileSystem& fileSystem, std::int64_t threshold = inMemory,
                       const FileCompressor::BeforeSwap& beforeSwap = nullptr) {
  return outcome(FileCompressor::decompress(url, threshold, beforeSwap, fileSystem));
}

TEST(FileCompressorTest, RefusesInOrderAndTouchesNothing) {
  const auto kind = [](FileKind of) { return [of](Node& node) { node.status.kind = of; }; };
  const auto compressed = [](Node& node) { node.status.st_flags |= UF_COMPRESSED; };
  const auto large = [](Node& node) { node.shownSize = 2'147'483'648; };
  const auto forked = [](Node& node) { node.attributes[resourceFork] = {1}; };
  const auto linked = [](Node& node) { node.status.st_nlink = 2; };
  const auto locked = [](Node& node) { node.isLocked = true; };
  const std::tuple<std::vector<std::function<void(Node&)>>, std::string, std::string> cases[]{
      {{kind(FileKind::symbolicLink), linked, compressed}, "symbolicLink(/a)", "symbolicLink(/a)"},
      {{kind(FileKind::directory), linked}, "notARegularFile(/a)", "notARegularFile(/a)"},
      {{linked, compressed}, "hardLinked(/a, nlink: 2)", "hardLinked(/a, nlink: 2)"},
      {{compressed, large, locked}, "alreadyCompressed(/a)", "fileInUse(/a)"},
      {{large, forked}, "fileTooLargeForFormat(/a, sizeBytes: 2147483648)", "notCompressed(/a)"},
      {{forked, locked}, "hasResourceFork(/a)", "notCompressed(/a)"},
      {{locked}, "fileInUse(/a)", "notCompressed(/a)"},
  };
  for (const auto& [traits, onCompress, onDecompress] : cases) {
    MemoryFileSystem memory;
    Node& node = memory.put(url, text(5'000));
    for (const auto& trait : traits) trait(node);
    const Node before = node;
    EXPECT_EQ(compress(memory), onCompress);
    EXPECT_EQ(decompress(memory), onDecompress);
    EXPECT_EQ(memory.at(url), before);
    EXPECT_FALSE(memory.exists(workFile));
  }
}

// The largest file and an empty fork are accepted: these get as far as the content.
TEST(FileCompressorTest, NoticesASourceShorterThanItWasShown) {
  const std::tuple<std::size_t, std::int64_t, std::string> cases[]{
      {5'000, 2'147'483'647, "got 5000, expected 65536"},
      {0, 70'000, "got 0, expected 65536"},
      {65'536, 70'000, "got 0, expected 4464"},
      {65'600, 70'000, "got 64, expected 4464"},
  };
  for (const auto& [size, shown, place] : cases) {
    MemoryFileSystem memory;
    Node& node = memory.put(url, text(size));
    node.attributes[resourceFork] = {};
    node.shownSize = shown;
    EXPECT_EQ(compress(memory, streaming), "ioError(/a, unexpected EOF (" + place + "))");
    EXPECT_FALSE(memory.exists(workFile));
  }
}

TEST(FileCompressorTest, StreamsFrom16MiBOn) {
  for (const std::size_t size : {16'777'215U, 16'777'216U}) {
    MemoryFileSystem memory;
    const Bytes content(size, 'x');
    memory.put(url, content);
    bool streamed = false;
    FaultyFileSystem watched(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
      streamed = streamed || call.operation == "openResourceFork";
      return std::nullopt;
    });
    EXPECT_TRUE(compress(watched).starts_with("lzfseRsrc"));
    EXPECT_EQ(memory.read(url), content);
    EXPECT_EQ(streamed, size == 16'777'216);
  }
}

TEST(FileCompressorTest, CarriesNoMarkerNoNameThatIsNotTextAndNoFlagOfTheSuperUser) {
  MemoryFileSystem memory;
  auto& node = memory.put(url, text(5'000));
  node.status.st_flags = UF_NODUMP | SF_APPEND;
  node.attributes = {{"com.example", noise(5'000)}, {marker, {2}}, {"not \xFF UTF-8", {1}}, {"\xE6\x97\xA5", {3}}};
  ASSERT_TRUE(compress(memory).starts_with("lzfseAttr"));
  auto& after = memory.at(url);
  EXPECT_EQ(after.status.st_flags, UF_NODUMP | UF_COMPRESSED);
  EXPECT_EQ(after.attributes.erase(decmpfs), 1U);
  EXPECT_EQ(after.attributes, (decltype(after.attributes){{"com.example", noise(5'000)}, {"\xE6\x97\xA5", {3}}}));
}

TEST(FileCompressorTest, DecompressesWhatOthersWroteIfItHasThePromisedLength) {
  const std::string different = "roundtripVerificationFailed(/a)";
  for (const std::int64_t threshold : {inMemory, streaming}) {
    MemoryFileSystem memory;
    auto& node = memory.put(url, {});
    node.status.st_flags = UF_COMPRESSED;
    node.attributes = {{decmpfs, TestData::header(8, 70'000)}, {resourceFork, noise(10)}};
    for (const std::size_t size : {69'999U, 70'001U, 0U, 70'000U}) {
      memory.at(url).foreignContent = text(size);
      EXPECT_EQ(decompress(memory, threshold), size == 70'000 ? "none 70000 70000" : different);
      EXPECT_FALSE(memory.exists(workFile));
    }
    EXPECT_EQ(memory.at(url).data, text(70'000));
  }
}

TEST(FileCompressorTest, NoticesEveryChangeUntilTheSwapAndAFailingHook) {
  const std::string changed = "fileChangedDuringOperation(/a)";
  const std::string refused = "ioError(/a, not now)";
  const std::tuple<std::function<void(MemoryFileSystem&)>, std::string> cases[]{
      {[](auto&) {}, ""},
      {[](auto&) {}, refused},
      {[](auto& memory) { memory.append(url, "more"); }, changed},
      {[](auto& memory) { ++memory.at(url).status.st_mtimespec.nanoseconds; }, changed},
      {[](auto& memory) { ++memory.at(url).status.st_mtimespec.seconds; }, changed},
      {[](auto& memory) { ++memory.at(url).status.st_ino; }, changed},
      {[](auto& memory) { ++memory.at(url).status.st_dev; }, changed},
      {[](auto& memory) { memory.at(url).isLockLost = true; }, changed},
      {[](auto& memory) { static_cast<void>(memory.unlink(url)); }, changed},
      {[](auto& memory) { memory.at(url).status.st_mode = 0600; }, ""},
  };
  MemoryFileSystem ordinary;
  ordinary.put(url, text(70'000));
  MemoryFileSystem compressed(ordinary);
  ASSERT_TRUE(compress(compressed).starts_with("lzfseRsrc"));
  for (const auto& [change, expected] : cases) {
    for (const std::int64_t threshold : {inMemory, streaming}) {
      for (const MemoryFileSystem* start : {&ordinary, &compressed}) {
        MemoryFileSystem memory(*start);
        std::optional<Node> left;
        const auto hook = [&]() -> std::expected<void, FileCompressionError> {
          EXPECT_TRUE(memory.at(workFile).attributes.contains(marker));
          change(memory);
          if (memory.exists(url)) left = memory.at(url);
          if (expected == refused) return std::unexpected(IOError{url, "not now"});
          return {};
        };
        const auto result =
            start == &ordinary ? compress(memory, threshold, hook) : decompress(memory, threshold, hook);
        if (expected.empty()) {
          EXPECT_TRUE(result.starts_with(start == &ordinary ? "lzfseRsrc" : "none")) << result;
          EXPECT_EQ(memory.at(url).status.st_mode, 0644U);
        } else {
          EXPECT_EQ(result, expected);
          ASSERT_EQ(memory.exists(url), left.has_value());
          if (left) left->isLocked = false;
          EXPECT_TRUE(!left || memory.at(url) == *left);
        }
        EXPECT_FALSE(memory.exists(workFile));
      }
    }
  }
}

TEST(FileCompressorTest, ALockOnAFileThatWasSwappedOutCountsForNothing) {
  MemoryFileSystem memory;
  memory.put(url, text(5'000));
  FaultyFileSystem racing(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
    if (call.operation == "flock") {
      // Another operation has ended here, and a third is at work on what it left.
      memory.put(url, text(5'000));
      memory.put(workFile, {}).attributes[marker] = {1};
    }
    return std::nullopt;
  });
  EXPECT_EQ(compress(racing), "fileChangedDuringOperation(/a)");
  EXPECT_TRUE(memory.exists(workFile));
}

TEST(FileCompressorTest, TellsOfDebrisThatItRemovesAndTakesNothingElseForIt) {
  for (const FileKind kind : {FileKind::directory, FileKind::symbolicLink, FileKind::regular}) {
    MemoryFileSystem memory;
    memory.put(url, text(70'000));
    auto& found = memory.put(workFile, TestData::bytes("somebody's"));
    found.status.kind = kind;
    found.attributes[marker] = {1};
    const Node before = found;
    const std::size_t logged = Log::entries().size();
    const auto result = compress(memory);
    if (kind == FileKind::regular) {
      EXPECT_TRUE(result.starts_with("lzfseRsrc")) << result;
      EXPECT_EQ(Log::entries().back().message, "removing stale slimtmp debris at <private>");
      EXPECT_EQ(Log::entries().back().level, LogLevel::standard);
      EXPECT_EQ(Log::entries().back().category, "compression");
    } else {
      EXPECT_EQ(result, "temporaryFileConflict(/a.slimtmp)");
      EXPECT_EQ(memory.at(workFile), before);
      EXPECT_EQ(Log::entries().size(), logged);
    }
  }
}

TEST(FileCompressorTest, ReadbackCatchesWhatTheDiskGivesBackWrong) {
  const auto flipped = [](std::size_t offset) {
    Bytes content = text(70'000);
    content[offset] ^= 1;
    return content;
  };
  for (const Bytes& seen : {flipped(0), flipped(69'999), text(69'999), text(70'001)}) {
    MemoryFileSystem memory;
    memory.put(url, text(70'000));
    FaultyFileSystem damaging(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
      if (call.operation == "openForReading" && call.path == workFile) memory.at(workFile).foreignContent = seen;
      return std::nullopt;
    });
    EXPECT_EQ(compress(damaging, streaming), "roundtripVerificationFailed(/a)");
    EXPECT_EQ(memory.at(url).data, text(70'000));
    EXPECT_FALSE(memory.exists(workFile));
  }
}

}  // namespace
}  // namespace quillbrook
