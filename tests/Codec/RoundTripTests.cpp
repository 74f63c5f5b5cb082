// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Codec/Compression.h"
#include "Codec/GeneratedContent.h"
#include "Codec/GuardedBuffer.h"

namespace quillbrook {

namespace {

using namespace GeneratedContent;

constexpr std::size_t headroom = 64;

ByteVector encoded(const ByteVector& content) {
  ByteVector stream(content.size() + headroom);
  stream.resize(compression_encode_buffer(stream, content, {}, COMPRESSION_LZFSE));
  return stream;
}

// Encodes within the headroom and decodes in all ways that a capacity can relate to the content.
void expectRoundTrip(const ByteVector& content) {
  const ByteVector stream = encoded(content);
  ASSERT_GE(stream.size(), 4U) << "no stream";
  const std::size_t size = content.size();
  for (const std::size_t capacity : {size, size + 1, size + 1000, size - std::min<std::size_t>(size, 1), size / 2}) {
    ByteVector decoded(capacity);
    const std::size_t count = compression_decode_buffer(decoded, stream, {}, COMPRESSION_LZFSE);
    ASSERT_EQ(count, std::min(capacity, size)) << "capacity " << capacity;
    ASSERT_TRUE(std::equal(decoded.begin(), decoded.begin() + static_cast<std::ptrdiff_t>(count), content.begin()));
  }
}

}  // namespace

TEST(CodecRoundTrip, everySmallSize) {
  for (std::size_t size = 0; size <= 400; ++size) {
    SCOPED_TRACE(size);
    expectRoundTrip(random(size));
    expectRoundTrip(text(size));
    expectRoundTrip(ByteVector(size));
  }
}

TEST(CodecRoundTrip, everySmallDistance) {
  for (std::size_t period = 1; period <= 70; ++period) {
    SCOPED_TRACE(period);
    for (const std::size_t size : {period + 5, std::size_t{100}, std::size_t{5'000}}) {
      expectRoundTrip(periodic(period, size));
    }
  }
}

TEST(CodecRoundTrip, familiesAroundTheBlockSize) {
  for (const std::size_t size : {16'384UL, 65'535UL, 65'536UL, 65'537UL, 1'048'576UL}) {
    const std::vector<std::pair<std::string, ByteVector>> families{
        {"zeros", ByteVector(size)},
        {"random", random(size)},
        {"text", text(size)},
        {"more literals than a block holds", randomOf(16, size)},
        {"two values", randomOf(2, size)},
        {"more matches than a block holds", manyMatches(size)},
        {"long matches", periodic(3'001, size)},
        {"short stored stretches", alternating(600, size)},
        {"long stored stretches", alternating(50'000, size)},
    };
    for (const auto& [name, content] : families) {
      SCOPED_TRACE(name + " of " + std::to_string(size));
      expectRoundTrip(content);
    }
  }
}

TEST(CodecRoundTrip, distancesAroundTheLargest) {
  for (const std::size_t distance : {65'535UL, 65'536UL, 262'138UL, 262'139UL, 262'140UL, 400'000UL}) {
    SCOPED_TRACE(distance);
    const ByteVector content = twice(distance);
    expectRoundTrip(content);
    const bool reachable = distance <= 262'139;
    EXPECT_EQ(encoded(content).size() < content.size() * 6 / 10, reachable);
  }
}

TEST(CodecEncoder, incompressibleContentCostsOneStoredBlock) {
  for (const std::size_t size : {1UL, 100UL, 65'536UL, 3'000'000UL}) {
    EXPECT_EQ(encoded(random(size)).size(), size + 12) << size;
  }
}

TEST(CodecEncoder, takesTheSmallestForm) {
  const auto magic = [](const ByteVector& stream) { return std::string(stream.begin(), stream.begin() + 4); };
  EXPECT_EQ(magic(encoded({})), "bvx$");
  EXPECT_EQ(magic(encoded(bytesOf("abcd"))), "bvx-");
  EXPECT_EQ(magic(encoded(ByteVector(200))), "bvxn");
  EXPECT_EQ(magic(encoded(text(20'000))), "bvx2");
}

TEST(CodecEncoder, saysSoIfTheStreamDoesNotFit) {
  for (const ByteVector& content : {text(3'000), random(300), ByteVector(500), alternating(60'000, 240'000)}) {
    const ByteVector stream = encoded(content);
    const std::size_t step = 1 + stream.size() / 150;
    for (std::size_t missing = 1; missing <= stream.size(); missing += step) {
      const GuardedBuffer room(stream.size() - missing, GuardedBuffer::Against::end);
      ASSERT_EQ(compression_encode_buffer(room.bytes(), content, {}, COMPRESSION_LZFSE), 0U) << missing;
    }
    const GuardedBuffer exact(stream.size(), GuardedBuffer::Against::end);
    EXPECT_EQ(compression_encode_buffer(exact.bytes(), content, {}, COMPRESSION_LZFSE), stream.size());
  }
}

TEST(CodecEncoder, readsAndWritesNothingBeyondItsBuffers) {
  for (const auto against : {GuardedBuffer::Against::start, GuardedBuffer::Against::end}) {
    for (const ByteVector& content : {text(70'000), random(300), ByteVector(500), periodic(7, 1'000), text(5)}) {
      const GuardedBuffer source(content, against);
      const GuardedBuffer room(content.size() + headroom, against);
      const std::size_t size = compression_encode_buffer(room.bytes(), source.bytes(), {}, COMPRESSION_LZFSE);
      EXPECT_TRUE(std::ranges::equal(room.bytes().first(size), encoded(content)));
    }
  }
}

TEST(CodecEncoder, knowsOneAlgorithm) {
  const ByteVector content = text(100);
  const ByteVector stream = encoded(content);
  ByteVector room(1'000);
  const auto other = static_cast<compression_algorithm>(0x205);
  EXPECT_EQ(compression_encode_buffer(room, content, {}, other), 0U);
  EXPECT_EQ(compression_decode_buffer(room, stream, {}, other), 0U);
}

}  // namespace quillbrook
