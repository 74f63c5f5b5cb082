// SPDX-License-Identifier: MIT
// What compress and decompress accept, refuse and carry over, on a file system in memory.

#include "Compression/FileCompressor.h"
#include "Compression/WorkFile.h"
#include "Platform/Log.h"
#include "Platform/ReservedNames.h"
#include "Support/FaultyFileSystem.h"
#include "Support/MemoryFileSystem.h"
#include "TestData.h"

namespace quillbrook::test {
namespace {

using Node = MemoryFileSystem::Node;
using Call = FaultyFileSystem::Call;

constexpr std::int64_t inMemory = FileCompressor::defaultStreamingThreshold;
constexpr std::int64_t streaming = 0;

template <typename Error>
std::string outcome(const std::expected<CompressionResult, Error>& result) {
  if (!result) return describe(result.error());
  return std::string(result->algorithm ? name(*result->algorithm) : "none") + " " +
         std::to_string(result->bytesBefore) + " " + std::to_string(result->bytesAfter);
}

class FileCompressorTest : public testing::Test {
 protected:
  std::string compress(FileSystem& fileSystem, std::int64_t threshold = inMemory,
                       const FileCompressor::BeforeSwap& beforeSwap = nullptr) const {
    return outcome(FileCompressor::compress(url_, threshold, beforeSwap, fileSystem));
  }
  std::string decompress(FileSystem& fileSystem, std::int64_t threshold = inMemory,
                         const FileCompressor::BeforeSwap& beforeSwap = nullptr) const {
    return outcome(FileCompressor::decompress(url_, threshold, beforeSwap, fileSystem));
  }

  const FilePath url_{"/a"};
  const FilePath workFile_{"/a.slimtmp"};
  const std::string marker_{WorkFile::marker};
  const std::string decmpfs_{ReservedNames::decmpfs};
  const std::string resourceFork_{ReservedNames::resourceFork};
};

TEST_F(FileCompressorTest, RefusesInOrderAndTouchesNothing) {
  const auto kind = [](FileKind of) { return [of](Node& node) { node.status.kind = of; }; };
  const auto compressed = [](Node& node) { node.status.st_flags |= UF_COMPRESSED; };
  const auto large = [](Node& node) { node.shownSize = 2'147'483'648; };
  const auto forked = [this](Node& node) { node.attributes[resourceFork_] = {1}; };
  const auto linked = [](Node& node) { node.status.st_nlink = 2; };
  const auto locked = [](Node& node) { node.isLocked = true; };
  const std::vector<std::tuple<std::vector<std::function<void(Node&)>>, std::string, std::string>> cases{
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
    Node& node = memory.put(url_, text(5'000));
    for (const auto& trait : traits) trait(node);
    const Node before = node;
    EXPECT_EQ(compress(memory), onCompress);
    EXPECT_EQ(decompress(memory), onDecompress);
    EXPECT_EQ(memory.at(url_), before);
    EXPECT_FALSE(memory.exists(workFile_));
  }
}

// The largest file and an empty fork are accepted: these get as far as the content.
TEST_F(FileCompressorTest, NoticesASourceShorterThanItWasShown) {
  const std::vector<std::tuple<std::size_t, std::int64_t, std::string>> cases{
      {5'000, 2'147'483'647, "got 5000, expected 65536"},
      {0, 70'000, "got 0, expected 65536"},
      {65'536, 70'000, "got 0, expected 4464"},
      {65'600, 70'000, "got 64, expected 4464"},
  };
  for (const auto& [size, shown, place] : cases) {
    MemoryFileSystem memory;
    Node& node = memory.put(url_, text(size));
    node.attributes[resourceFork_] = {};
    node.shownSize = shown;
    EXPECT_EQ(compress(memory, streaming), "ioError(/a, unexpected EOF (" + place + "))");
    EXPECT_FALSE(memory.exists(workFile_));
  }
}

TEST_F(FileCompressorTest, StreamsFrom16MiBOn) {
  for (const std::size_t size : {16'777'215U, 16'777'216U}) {
    MemoryFileSystem memory;
    const Bytes content(size, 'x');
    memory.put(url_, content);
    bool streamed = false;
    FaultyFileSystem watched(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
      streamed = streamed || call.operation == "openResourceFork";
      return std::nullopt;
    });
    EXPECT_TRUE(compress(watched).starts_with("lzfseRsrc"));
    EXPECT_EQ(memory.read(url_), content);
    EXPECT_EQ(streamed, size == 16'777'216);
  }
}

TEST_F(FileCompressorTest, CarriesNoMarkerNoNameThatIsNotTextAndNoFlagOfTheSuperUser) {
  MemoryFileSystem memory;
  auto& node = memory.put(url_, text(5'000));
  node.status.st_flags = UF_NODUMP | SF_APPEND;
  node.attributes = {{"com.example", noise(5'000)}, {marker_, {2}}, {"not \xFF UTF-8", {1}}, {"\xE6\x97\xA5", {3}}};
  ASSERT_TRUE(compress(memory).starts_with("lzfseAttr"));
  auto& after = memory.at(url_);
  EXPECT_EQ(after.status.st_flags, UF_NODUMP | UF_COMPRESSED);
  EXPECT_EQ(after.attributes.erase(decmpfs_), 1U);
  EXPECT_EQ(after.attributes, (decltype(after.attributes){{"com.example", noise(5'000)}, {"\xE6\x97\xA5", {3}}}));
}

TEST_F(FileCompressorTest, DecompressesWhatOthersWroteIfItHasThePromisedLength) {
  const std::string different = "roundtripVerificationFailed(/a)";
  for (const std::int64_t threshold : {inMemory, streaming}) {
    MemoryFileSystem memory;
    auto& node = memory.put(url_, {});
    node.status.st_flags = UF_COMPRESSED;
    node.attributes = {{decmpfs_, header(8, 70'000)}, {resourceFork_, noise(10)}};
    for (const std::size_t size : {69'999U, 70'001U, 0U, 70'000U}) {
      memory.at(url_).foreignContent = text(size);
      EXPECT_EQ(decompress(memory, threshold), size == 70'000 ? "none 70000 70000" : different);
      EXPECT_FALSE(memory.exists(workFile_));
    }
    EXPECT_EQ(memory.at(url_).data, text(70'000));
  }
}

TEST_F(FileCompressorTest, NoticesEveryChangeUntilTheSwapAndAFailingHook) {
  const std::string changed = "fileChangedDuringOperation(/a)";
  const std::string refused = "ioError(/a, not now)";
  const std::vector<std::tuple<std::function<void(MemoryFileSystem&)>, std::string>> cases{
      {[](auto&) {}, ""},
      {[](auto&) {}, refused},
      {[this](auto& memory) { memory.at(url_).shownSize = 1; }, changed},
      {[this](auto& memory) { ++memory.at(url_).status.st_mtimespec.nanoseconds; }, changed},
      {[this](auto& memory) { ++memory.at(url_).status.st_mtimespec.seconds; }, changed},
      {[this](auto& memory) { ++memory.at(url_).status.st_ino; }, changed},
      {[this](auto& memory) { ++memory.at(url_).status.st_dev; }, changed},
      {[this](auto& memory) { memory.at(url_).isLockLost = true; }, changed},
      {[this](auto& memory) { static_cast<void>(memory.unlink(url_)); }, changed},
      {[this](auto& memory) { memory.at(url_).status.st_mode = 0600; }, ""},
  };
  MemoryFileSystem ordinary;
  ordinary.put(url_, text(70'000));
  MemoryFileSystem compressed(ordinary);
  ASSERT_TRUE(compress(compressed).starts_with("lzfseRsrc"));
  for (const auto& [change, expected] : cases) {
    for (const std::int64_t threshold : {inMemory, streaming}) {
      for (const MemoryFileSystem* start : {&ordinary, &compressed}) {
        MemoryFileSystem memory(*start);
        std::optional<Node> left;
        const auto hook = [&]() -> std::expected<void, FileCompressionError> {
          EXPECT_TRUE(memory.at(workFile_).attributes.contains(marker_));
          change(memory);
          if (memory.exists(url_)) left = memory.at(url_);
          if (expected == refused) return std::unexpected(IOError{url_, "not now"});
          return {};
        };
        const auto result =
            start == &ordinary ? compress(memory, threshold, hook) : decompress(memory, threshold, hook);
        if (expected.empty()) {
          EXPECT_TRUE(result.starts_with(start == &ordinary ? "lzfseRsrc" : "none")) << result;
          EXPECT_EQ(memory.at(url_).status.st_mode, 0644U);
        } else {
          EXPECT_EQ(result, expected);
          ASSERT_EQ(memory.exists(url_), left.has_value());
          if (left) left->isLocked = false;
          EXPECT_TRUE(!left || memory.at(url_) == *left);
        }
        EXPECT_FALSE(memory.exists(workFile_));
      }
    }
  }
}

TEST_F(FileCompressorTest, ALockOnAFileThatWasSwappedOutCountsForNothing) {
  MemoryFileSystem memory;
  memory.put(url_, text(5'000));
  FaultyFileSystem racing(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
    if (call.operation == "flock") {
      // Another operation has ended here, and a third is at work on what it left.
      memory.put(url_, text(5'000));
      memory.put(workFile_, {}).attributes[marker_] = {1};
    }
    return std::nullopt;
  });
  EXPECT_EQ(compress(racing), "fileChangedDuringOperation(/a)");
  EXPECT_TRUE(memory.exists(workFile_));
}

TEST_F(FileCompressorTest, TellsOfDebrisThatItRemovesAndTakesNothingElseForIt) {
  for (const FileKind kind : {FileKind::directory, FileKind::symbolicLink, FileKind::regular}) {
    MemoryFileSystem memory;
    memory.put(url_, text(70'000));
    auto& found = memory.put(workFile_, bytesOf("somebody's"));
    found.status.kind = kind;
    found.attributes[marker_] = {1};
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
      EXPECT_EQ(memory.at(workFile_), before);
      EXPECT_EQ(Log::entries().size(), logged);
    }
  }
}

TEST_F(FileCompressorTest, ReadbackCatchesWhatTheDiskGivesBackWrong) {
  const auto flipped = [](std::size_t offset) {
    Bytes content = text(70'000);
    content[offset] ^= 1;
    return content;
  };
  for (const Bytes& seen : {flipped(0), flipped(69'999), text(69'999), text(70'001)}) {
    MemoryFileSystem memory;
    memory.put(url_, text(70'000));
    FaultyFileSystem damaging(memory, [&](const Call& call) -> std::optional<ErrorNumber> {
      if (call.operation == "openForReading" && call.path == workFile_) memory.at(workFile_).foreignContent = seen;
      return std::nullopt;
    });
    EXPECT_EQ(compress(damaging, streaming), "roundtripVerificationFailed(/a)");
    EXPECT_EQ(memory.at(url_).data, text(70'000));
    EXPECT_FALSE(memory.exists(workFile_));
  }
}

}  // namespace
}  // namespace quillbrook::test
