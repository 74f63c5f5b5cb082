// SPDX-License-Identifier: MIT
// The two payload formats and the codec's door: what they accept, what they refuse, and the bytes that they write.

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/EngineError.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/LZFSE.h"
#include "Compression/Verification.h"
#include "Platform/LittleEndian.h"
#include "TestData.h"

namespace quillbrook::test {
namespace {

using testing::ElementsAreArray;

Bytes hello() {  // 17 bytes, of which none is compressed
  return storedBlock(bytesOf("hello")) + endMarker();
}

// A result as one text, so that values and errors stand in one table.
template <typename Error>
std::string outcome(const std::expected<ByteBuffer, Error>& result) {
  if (result) return "[" + std::string(result->begin(), result->end()) + "]";
  return describe(passedThrough(result.error()));
}

TEST(LZFSETest, RefusesWhatDoesNotGiveTheExpectedLength) {
  const Bytes stream = hello();
  const std::vector<std::tuple<Bytes, std::size_t, std::string>> cases{
      {stream, 5, "[hello]"},
      {stream, 3, "[hel]"},
      {stream, 9, "decodeFailed(expectedBytes: 9, gotBytes: 5)"},
      {Bytes(stream.begin(), stream.begin() + 10), 5, "decodeFailed(expectedBytes: 5, gotBytes: 2)"},
      {bytesOf("garbage"), 5, "decodeFailed(expectedBytes: 5, gotBytes: 0)"},
      {bytesOf("garbage"), 0, "[]"},
  };
  for (const auto& [bytes, size, expected] : cases) EXPECT_EQ(outcome(LZFSE::decode(bytes, size)), expected);
  EXPECT_EQ(outcome(LZFSE::encode({})), "[]");
}

TEST(DecmpfsInlineTest, DecodesByTypeAndSize) {
  const auto ff = Bytes{0xFF};
  const std::vector<std::tuple<Bytes, std::string>> cases{
      {header(11, 5) + hello(), "[hello]"},
      {header(11, 0) + bytesOf("anything"), "[]"},
      {header(11, 6) + hello(), "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({0x636D7066, 11, 0, 1}), "decodeFailed(expectedBytes: 4294967296, gotBytes: 0)"},
      {header(9, 10), "missingUncompressedV2Prefix"},
      {header(9, 1) + Bytes{0xFE, 'a'}, "missingUncompressedV2Prefix"},
      {header(9, 10) + ff + bytesOf("123456789"), "truncatedPayload(needed: 10, got: 9)"},
      {header(9, 10) + ff + bytesOf("1234567890A"), "[1234567890]"},
      {header(1, 3) + bytesOf("abcdef"), "[abc]"},
      {header(1, 3) + bytesOf("ab"), "truncatedPayload(needed: 3, got: 2)"},
      {header(7, 3), "unsupportedCompressionType(lzvnAttr)"},
      {header(12, 3), "unsupportedCompressionType(lzfseRsrc)"},
      {Bytes(15, 0), "insufficientBytes(needed: 16, got: 15)"},
      {littleEndian({1, 2, 3, 0}), "invalidMagic(1)"},
  };
  for (const auto& [value, expected] : cases) EXPECT_EQ(outcome(DecmpfsInline::decode(value)), expected);
}

TEST(DecmpfsInlineTest, EncodersHoldTheLimitOnTheFinishedValue) {
  const std::string tooLarge = "payloadTooLarge(payloadBytes: 3803, maxBytes: 3802)";
  EXPECT_EQ(DecmpfsInline::encodeUncompressedV2(noise(3'785))->size(), 3'802U);
  EXPECT_EQ(outcome(DecmpfsInline::encodeUncompressedV2(noise(3'786))), tooLarge);
  // Of noise the stream is a stored block: 12 bytes more.
  EXPECT_EQ(DecmpfsInline::encodeLZFSE(noise(3'774))->size(), 3'802U);
  EXPECT_EQ(outcome(DecmpfsInline::encodeLZFSE(noise(3'775))), tooLarge);
  for (const Bytes& content : {Bytes{}, text(1), text(3'000), Bytes(16'384, 0)}) {
    EXPECT_THAT(*DecmpfsInline::decode(*DecmpfsInline::encodeLZFSE(content)), ElementsAreArray(content));
  }
  EXPECT_THAT(*DecmpfsInline::encodeUncompressedV2(bytesOf("ab")),
              ElementsAreArray(header(9, 2) + Bytes{0xFF, 'a', 'b'}));
}

TEST(DecmpfsResourceForkTest, LaysOutTableAndChunks) {
  EXPECT_THAT(*DecmpfsResourceFork::encode({}), ElementsAreArray(littleEndian({4})));
  for (const std::size_t size : {1U, 65'535U, 65'536U, 65'537U, 131'072U, 200'000U}) {
    for (const Bytes& content : {text(size), noise(size)}) {
      SCOPED_TRACE(size);
      const auto fork = DecmpfsResourceFork::encode(content);
      ASSERT_TRUE(fork.has_value());
      const std::size_t blocks = (size + 65'535) / 65'536;
      const auto entry = [&](std::size_t i) { return LittleEndian::load<std::uint32_t>(fork->data() + 4 * i); };
      EXPECT_EQ(entry(0), 4 * (blocks + 1));
      EXPECT_EQ(entry(blocks), fork->size());
      for (std::size_t i = 0; i < blocks; ++i) {
        const auto block = std::span(content).subspan(i * 65'536).first(std::min(size - i * 65'536, 65'536UL));
        const auto chunk = std::span(*fork).subspan(entry(i), entry(i + 1) - entry(i));
        EXPECT_THAT(*LZFSE::decode(chunk, block.size()), ElementsAreArray(block));
        EXPECT_LE(chunk.size(), block.size() + LZFSE::encodeHeadroom);
      }
      ByteBuffer surplus = *fork;
      surplus.push_back(0xAA);
      EXPECT_THAT(*DecmpfsResourceFork::decode(surplus, size), ElementsAreArray(content));
    }
  }
}

TEST(DecmpfsResourceForkTest, RefusesDamagedForks) {
  const std::vector<std::tuple<Bytes, std::size_t, std::string>> cases{
      {littleEndian({8, 25}) + hello(), 5, "[hello]"},
      {littleEndian({8, 25}) + hello(), 6, "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({4}), 0, "[]"},
      {Bytes(7, 0), 5, "truncated"},
      {littleEndian({9, 25}) + hello(), 5, "invalidHeader(reason: first offset 9 != 8)"},
      {littleEndian({8, 7}) + hello(), 5, "truncated"},
      {littleEndian({8, 26}) + hello(), 5, "truncated"},
      {littleEndian({8, 8}) + hello(), 5, "decodeFailed(expectedBytes: 5, gotBytes: 0)"},
  };
  for (const auto& [fork, size, expected] : cases)
    EXPECT_EQ(outcome(DecmpfsResourceFork::decode(fork, size)), expected);
}

TEST(DecmpfsResourceForkTest, RefusesMoreThanTheFormatHolds) {
  constexpr std::size_t tooMuch = 0x8000'0000;
  void* pages = ::mmap(nullptr, tooMuch, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  const std::span untouched(static_cast<const std::uint8_t*>(pages), tooMuch);
  EXPECT_EQ(outcome(DecmpfsResourceFork::encode(untouched)),
            "dataExceedsMaximum(payloadBytes: 2147483648, maxBytes: 2147483647)");
  ::munmap(pages, tooMuch);
}

TEST(DecmpfsHeaderTest, NumbersOfTypesAreThoseOnTheDisk) {
  const std::vector<std::pair<std::uint32_t, std::string>> cases{
      {0, "unknownCompressionType(0)"},
      {1, "uncompressedAttr"},
      {2, "unknownCompressionType(2)"},
      {3, "zlibAttr"},
      {4, "zlibRsrc"},
      {5, "datalessSparse"},
      {6, "uncompressedRsrc"},
      {7, "lzvnAttr"},
      {8, "lzvnRsrc"},
      {9, "uncompressedAttrV2"},
      {10, "uncompressedRsrcV2"},
      {11, "lzfseAttr"},
      {12, "lzfseRsrc"},
      {13, "lzbitmapAttr"},
      {14, "lzbitmapRsrc"},
      {15, "unknownCompressionType(15)"},
  };
  constexpr std::uint64_t size = 0x0102'0304'0506'0708;
  for (const auto& [number, expected] : cases) {
    const Bytes stored = littleEndian({0x636D7066, number, 0x0506'0708, 0x0102'0304});
    const auto parsed = DecmpfsHeader::parse(stored);
    EXPECT_EQ(parsed ? name(parsed->compressionType) : describe(parsed.error()), expected);
    if (!parsed) continue;
    EXPECT_EQ(parsed->uncompressedSize, size);
    EXPECT_THAT(DecmpfsHeader::encode(parsed->compressionType, size), ElementsAreArray(stored));
  }
}

TEST(VerificationTest, AcceptsOnlyWhatGivesBackEveryByte) {
  using Damage = std::function<void(FileCompressor::EncodingPlan&)>;
  const std::vector<std::tuple<std::string, std::size_t, Damage, std::string>> cases{
      {"attribute", 5'000, [](auto&) {}, ""},
      {"fork", 20'000, [](auto&) {}, ""},
      // The content of a stored block is not guarded by the stream itself.
      {"a byte of the attribute", 3'000, [](auto& plan) { plan.decmpfsXattr[2'000] ^= 1; },
       "roundtripVerificationFailed(/a)"},
      {"a byte of the fork", 20'000, [](auto& plan) { (*plan.resourceFork)[2'000] ^= 1; },
       "roundtripVerificationFailed(/a)"},
      {"the fork's table", 20'000, [](auto& plan) { (*plan.resourceFork)[0] = 9; },
       "invalidHeader(reason: first offset 9 != 8)"},
      {"the attribute's length", 5'000, [](auto& plan) { plan.decmpfsXattr.resize(100); },
       "decodeFailed(expectedBytes: 5000, gotBytes: "},
  };
  for (const auto& [name, size, damage, expected] : cases) {
    SCOPED_TRACE(name);
    const bool isStored = name.starts_with("a byte");
    const Bytes content = isStored ? noise(size) : text(size);
    FileCompressor::EncodingPlan plan;
    if (size > FileCompressor::maximumInlineFileByteCount) {
      plan = {.algorithm = CompressionType::lzfseRsrc,
              .decmpfsXattr = {},
              .resourceFork = *DecmpfsResourceFork::encode(content)};
    } else {
      plan = {.algorithm = CompressionType::lzfseAttr,
              .decmpfsXattr = *DecmpfsInline::encodeLZFSE(content),
              .resourceFork = std::nullopt};
    }
    damage(plan);
    const auto verified = Verification::verifyRoundTrip(content, plan, FilePath("/a"));
    EXPECT_EQ(verified.has_value(), expected.empty());
    if (!verified) {
      EXPECT_THAT(describe(verified.error()), testing::StartsWith(expected));
    }
  }
}

}  // namespace
}  // namespace quillbrook::test
