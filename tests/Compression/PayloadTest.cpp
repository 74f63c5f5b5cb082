// SPDX-License-Identifier: MIT
// The two payload formats and the codec's door: what they accept, what they refuse, and the bytes that they write.
#include <gmock/gmock.h>

#include <string>
#include <tuple>

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/EngineError.h"
#include "Compression/LZFSE.h"
#include "TestData.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using TestData::bytes;
using TestData::concatenated;
using TestData::header;
using TestData::littleEndian;
using TestData::noise;
using TestData::text;
using testing::ElementsAreArray;

// One stream that holds `content` as it stands: a stored block and the end marker.
Bytes storedStream(const Bytes& content) {
  return concatenated(
      {bytes("bvx-"), littleEndian({static_cast<std::uint32_t>(content.size())}), content, bytes("bvx$")});
}
Bytes hello() {  // 17 bytes
  return storedStream(bytes("hello"));
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
      {bytes("garbage"), 5, "decodeFailed(expectedBytes: 5, gotBytes: 0)"},
      {bytes("garbage"), 0, "[]"},
  };
  for (const auto& [bytes, size, expected] : cases) EXPECT_EQ(outcome(LZFSE::decode(bytes, size)), expected);
  EXPECT_EQ(outcome(LZFSE::encode({})), "[]");
}

TEST(DecmpfsInlineTest, DecodesByTypeAndSize) {
  const auto ff = Bytes{0xFF};
  const std::vector<std::tuple<Bytes, std::string>> cases{
      {concatenated({header(11, 5), hello()}), "[hello]"},
      {concatenated({header(11, 0), bytes("anything")}), "[]"},
      {concatenated({header(11, 6), hello()}), "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({0x636D7066, 11, 0, 1}), "decodeFailed(expectedBytes: 4294967296, gotBytes: 0)"},
      {header(9, 10), "missingUncompressedV2Prefix"},
      {concatenated({header(9, 1), Bytes{0xFE, 'a'}}), "missingUncompressedV2Prefix"},
      {concatenated({header(9, 10), ff, bytes("123456789")}), "truncatedPayload(needed: 10, got: 9)"},
      {concatenated({header(9, 10), ff, bytes("1234567890A")}), "[1234567890]"},
      {concatenated({header(1, 3), bytes("abcdef")}), "[abc]"},
      {concatenated({header(1, 3), bytes("ab")}), "truncatedPayload(needed: 3, got: 2)"},
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
  EXPECT_THAT(*DecmpfsInline::encodeUncompressedV2(bytes("ab")),
              ElementsAreArray(concatenated({header(9, 2), Bytes{0xFF, 'a', 'b'}})));
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
      {concatenated({littleEndian({8, 25}), hello()}), 5, "[hello]"},
      {concatenated({littleEndian({8, 25}), hello()}), 6, "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({4}), 0, "[]"},
      {Bytes(7, 0), 5, "truncated"},
      {concatenated({littleEndian({9, 25}), hello()}), 5, "invalidHeader(reason: first offset 9 != 8)"},
      {concatenated({littleEndian({8, 7}), hello()}), 5, "truncated"},
      {concatenated({littleEndian({8, 26}), hello()}), 5, "truncated"},
      {concatenated({littleEndian({8, 8}), hello()}), 5, "decodeFailed(expectedBytes: 5, gotBytes: 0)"},
  };
  for (const auto& [fork, size, expected] : cases)
    EXPECT_EQ(outcome(DecmpfsResourceFork::decode(fork, size)), expected);
}

}  // namespace
}  // namespace quillbrook
