// SPDX-License-Identifier: MIT
// The two payload formats and the codec's door: what they accept, what they refuse, and the bytes that they write.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/EncodingPlan.h"
#include "Compression/LZFSE.h"
#include "Platform/LittleEndian.h"
#include "TestData.h"

namespace quillbrook {
namespace {

using TestData::Bytes;
using TestData::noise;
using TestData::text;
using testing::ElementsAreArray;

Bytes concatenated(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

Bytes littleEndian(std::initializer_list<std::uint32_t> values) {
  Bytes result(values.size() * 4);
  std::size_t offset = 0;
  for (const std::uint32_t value : values) {
    LittleEndian::store(result.data() + offset, value);
    offset += 4;
  }
  return result;
}

Bytes header(CompressionType type, std::uint32_t size) {
  return littleEndian({0x636D7066, static_cast<std::uint32_t>(type), size, 0});
}

// One stream that holds `content` as it stands: a stored block and the end marker.
Bytes storedStream(const Bytes& content) {
  return concatenated({TestData::bytes("bvx-"), littleEndian({static_cast<std::uint32_t>(content.size())}), content,
                       TestData::bytes("bvx$")});
}

// A result as one text, so that values and errors stand in one table.
template <typename Value, typename Error>
std::string outcome(const std::expected<Value, Error>& result) {
  if (result) return "[" + std::string(result->begin(), result->end()) + "]";
  return std::visit([](const auto& error) { return describe(EngineError(error)); }, result.error());
}
std::string outcome(const std::expected<ByteBuffer, LZFSEError>& result) {
  if (result) return "[" + std::string(result->begin(), result->end()) + "]";
  return describe(result.error());
}

TEST(LZFSETest, RoundTripsAndStaysWithinItsHeadroom) {
  for (const std::size_t size : {0U, 1U, 100U, 16'384U, 65'536U, 200'000U}) {
    for (const Bytes& content : {Bytes(size, 0), text(size), noise(size)}) {
      SCOPED_TRACE(size);
      const auto stream = LZFSE::encode(content);
      ASSERT_TRUE(stream.has_value());
      EXPECT_LE(stream->size(), size + LZFSE::encodeHeadroom);
      const auto decoded = LZFSE::decode(*stream, size);
      ASSERT_TRUE(decoded.has_value());
      EXPECT_THAT(*decoded, ElementsAreArray(content));
    }
  }
  EXPECT_EQ(LZFSE::encode({})->size(), 0U);
  EXPECT_GT(LZFSE::encode(noise(65'536))->size(), 65'536U);
}

TEST(LZFSETest, RefusesWhatDoesNotGiveTheExpectedLength) {
  const Bytes stream = storedStream(TestData::bytes("hello"));
  EXPECT_EQ(outcome(LZFSE::decode(stream, 5)), "[hello]");
  EXPECT_EQ(outcome(LZFSE::decode(stream, 3)), "[hel]");
  EXPECT_EQ(outcome(LZFSE::decode(stream, 9)), "decodeFailed(expectedBytes: 9, gotBytes: 5)");
  EXPECT_EQ(outcome(LZFSE::decode(std::span(stream).first(10), 5)), "decodeFailed(expectedBytes: 5, gotBytes: 2)");
  EXPECT_EQ(outcome(LZFSE::decode(TestData::bytes("garbage"), 5)), "decodeFailed(expectedBytes: 5, gotBytes: 0)");
  EXPECT_EQ(outcome(LZFSE::decode(TestData::bytes("garbage"), 0)), "[]");
}

TEST(DecmpfsInlineTest, DecodesByTypeAndSize) {
  using enum CompressionType;
  const auto ff = Bytes{0xFF};
  const struct {
    Bytes value;
    std::string expected;
  } cases[]{
      {concatenated({header(lzfseAttr, 5), storedStream(TestData::bytes("hello"))}), "[hello]"},
      {concatenated({header(lzfseAttr, 0), TestData::bytes("anything")}), "[]"},
      {concatenated({header(lzfseAttr, 6), storedStream(TestData::bytes("hello"))}),
       "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({0x636D7066, 11, 0, 1}), "decodeFailed(expectedBytes: 4294967296, gotBytes: 0)"},
      {header(uncompressedAttrV2, 10), "missingUncompressedV2Prefix"},
      {concatenated({header(uncompressedAttrV2, 1), Bytes{0xFE, 'a'}}), "missingUncompressedV2Prefix"},
      {concatenated({header(uncompressedAttrV2, 10), ff, TestData::bytes("123456789")}),
       "truncatedPayload(needed: 10, got: 9)"},
      {concatenated({header(uncompressedAttrV2, 10), ff, TestData::bytes("1234567890A")}), "[1234567890]"},
      {concatenated({header(uncompressedAttr, 3), TestData::bytes("abcdef")}), "[abc]"},
      {concatenated({header(uncompressedAttr, 3), TestData::bytes("ab")}), "truncatedPayload(needed: 3, got: 2)"},
      {header(lzvnAttr, 3), "unsupportedCompressionType(lzvnAttr)"},
      {header(lzfseRsrc, 3), "unsupportedCompressionType(lzfseRsrc)"},
      {Bytes(15, 0), "insufficientBytes(needed: 16, got: 15)"},
      {littleEndian({1, 2, 3, 0}), "invalidMagic(1)"},
  };
  for (const auto& c : cases) EXPECT_EQ(outcome(DecmpfsInline::decode(c.value)), c.expected);
}

TEST(DecmpfsInlineTest, EncodersHoldTheLimitOnTheFinishedValue) {
  EXPECT_EQ(DecmpfsInline::encodeUncompressedV2(noise(3'785))->size(), 3'802U);
  EXPECT_EQ(outcome(DecmpfsInline::encodeUncompressedV2(noise(3'786))),
            "payloadTooLarge(payloadBytes: 3803, maxBytes: 3802)");
  // Of noise the stream is a stored block: 12 bytes more.
  EXPECT_EQ(DecmpfsInline::encodeLZFSE(noise(3'774))->size(), 3'802U);
  EXPECT_EQ(outcome(DecmpfsInline::encodeLZFSE(noise(3'775))), "payloadTooLarge(payloadBytes: 3803, maxBytes: 3802)");
  for (const Bytes& content : {Bytes{}, text(1), text(3'000), Bytes(16'384, 0)}) {
    EXPECT_THAT(*DecmpfsInline::decode(*DecmpfsInline::encodeLZFSE(content)), ElementsAreArray(content));
  }
  EXPECT_THAT(*DecmpfsInline::encodeUncompressedV2(TestData::bytes("ab")),
              ElementsAreArray(concatenated({header(CompressionType::uncompressedAttrV2, 2), Bytes{0xFF, 'a', 'b'}})));
  EXPECT_EQ(outcome(DecmpfsInline::decode(*DecmpfsInline::encodeUncompressedV2({}))), "[]");
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
        const Bytes block(content.begin() + static_cast<std::ptrdiff_t>(i * 65'536),
                          content.begin() + static_cast<std::ptrdiff_t>(std::min(size, (i + 1) * 65'536)));
        const auto chunk = std::span(*fork).subspan(entry(i), entry(i + 1) - entry(i));
        EXPECT_THAT(*LZFSE::decode(chunk, block.size()), ElementsAreArray(block));
      }
      ByteBuffer surplus = *fork;
      surplus.push_back(0xAA);
      EXPECT_THAT(*DecmpfsResourceFork::decode(surplus, size), ElementsAreArray(content));
    }
  }
  EXPECT_GT(DecmpfsResourceFork::encode(noise(65'536))->size(), 65'536U + 8U);
}

TEST(DecmpfsResourceForkTest, RefusesDamagedForks) {
  const Bytes hello = storedStream(TestData::bytes("hello"));  // 17 bytes
  const struct {
    Bytes fork;
    std::size_t size;
    std::string expected;
  } cases[]{
      {concatenated({littleEndian({8, 25}), hello}), 5, "[hello]"},
      {concatenated({littleEndian({8, 25}), hello}), 6, "decodeFailed(expectedBytes: 6, gotBytes: 5)"},
      {littleEndian({4}), 0, "[]"},
      {Bytes(7, 0), 5, "truncated"},
      {concatenated({littleEndian({9, 25}), hello}), 5, "invalidHeader(reason: first offset 9 != 8)"},
      {concatenated({littleEndian({8, 7}), hello}), 5, "truncated"},
      {concatenated({littleEndian({8, 26}), hello}), 5, "truncated"},
      {concatenated({littleEndian({8, 8}), hello}), 5, "decodeFailed(expectedBytes: 5, gotBytes: 0)"},
  };
  for (const auto& c : cases) EXPECT_EQ(outcome(DecmpfsResourceFork::decode(c.fork, c.size)), c.expected);
}

TEST(EncodingPlanTest, SettlesAttributeOrForkByBothLimits) {
  using enum CompressionType;
  const FilePath url("/a");
  const struct {
    Bytes content;
    std::string expected;
  } cases[]{
      {Bytes(16'384, 0), "lzfseAttr"},
      {Bytes(16'385, 0), "lzfseRsrc"},
      {text(100), "lzfseAttr"},
      {noise(3'000), "compressionDidNotReduceSize(/a)"},
      {noise(3'774), "compressionDidNotReduceSize(/a)"},
      {noise(3'775), "lzfseRsrc"},
      {noise(4'000), "lzfseRsrc"},
      {Bytes{}, "compressionDidNotReduceSize(/a)"},
  };
  for (const auto& c : cases) {
    const auto plan = FileCompressor::makeEncodingPlan(c.content, url);
    EXPECT_EQ(plan ? std::string(name(plan->algorithm)) : describe(plan.error()), c.expected) << c.content.size();
    if (!plan) continue;
    EXPECT_EQ(plan->resourceFork.has_value(), plan->algorithm == lzfseRsrc);
    const auto head = DecmpfsHeader::parse(plan->decmpfsXattr);
    EXPECT_EQ(head, (DecmpfsHeader{plan->algorithm, c.content.size()}));
    EXPECT_EQ(plan->decmpfsXattr.size() == 16, plan->resourceFork.has_value());
    if (plan->resourceFork) {
      EXPECT_EQ(*plan->resourceFork, *DecmpfsResourceFork::encode(c.content));
    }
  }
}

}  // namespace
}  // namespace quillbrook
