// SPDX-License-Identifier: MIT
//
// Streams that end early or were damaged. The buffers lie against guard pages: one byte too far ends the program.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "Codec/GeneratedContent.h"
#include "Codec/GuardedBuffer.h"
#include "Codec/LzfseBlockBuilder.h"

namespace quillbrook {

namespace {

using Against = GuardedBuffer::Against;

struct Sample {
  ByteVector content;
  ByteVector stream;
};

// A stream with a block of each kind, the last three reaching back.
Sample everyKind() {
  LzfseBlockBuilder block{.literals = bytesOf("0123456"), .triples = {{3, 60, 9}, {4, 20, 5}}, .rawBytes = 87};
  block.encode();
  const ByteVector lzvn =
      lzvnBlock(20, {0xE4, 'a', 'b', 'c', 'd', 0x98, 11, 'x', 'y', 0xF8, 0x0E, 6, 0, 0, 0, 0, 0, 0, 0});
  Sample sample{ByteVector(1'000), storedBlock("stored bytes") + lzvn + block.packed() + block.plain() + endMarker()};
  sample.content.resize(compression_decode_buffer(sample.content, sample.stream, {}, COMPRESSION_LZFSE));
  return sample;
}

Sample encodedSample(const ByteVector& content) {
  Sample sample{content, ByteVector(content.size() + 64)};
  sample.stream.resize(compression_encode_buffer(sample.stream, content, {}, COMPRESSION_LZFSE));
  return sample;
}

}  // namespace

TEST(HostileStream, truncatedAnywhereGivesAPrefix) {
  ASSERT_EQ(everyKind().content.size(), 12U + 20 + 87 + 87);
  for (const Sample& sample :
       {everyKind(), encodedSample(GeneratedContent::text(2'000)), encodedSample(GeneratedContent::random(300)),
        encodedSample(ByteVector(300)), encodedSample(GeneratedContent::alternating(45'000, 135'000))}) {
    std::size_t before = 0;
    const std::size_t step = 1 + sample.stream.size() / 1'000;
    for (std::size_t size = 0; size < sample.stream.size(); size += step) {
      for (const std::size_t capacity : {sample.content.size(), sample.content.size() + 500}) {
        const GuardedBuffer source(std::span(sample.stream).first(size), Against::end);
        const GuardedBuffer room(capacity, Against::end);
        const std::size_t count = compression_decode_buffer(room.bytes(), source.bytes(), {}, COMPRESSION_LZFSE);
        ASSERT_LE(count, sample.content.size());
        ASSERT_TRUE(std::ranges::equal(room.bytes().first(count), std::span(sample.content).first(count))) << size;
        ASSERT_GE(count, before) << "a longer part of the stream gave less, at " << size;
        before = count;
      }
    }
    // Only the end marker is missing.
    const std::span<const std::uint8_t> unended = std::span(sample.stream).first(sample.stream.size() - 4);
    ByteVector room(sample.content.size() + 1);
    EXPECT_EQ(compression_decode_buffer(room, unended, {}, COMPRESSION_LZFSE), sample.content.size());
  }
}

TEST(HostileStream, everyFlippedBitStaysWithinTheBuffers) {
  for (const Sample& sample :
       {everyKind(), encodedSample(GeneratedContent::text(1'500)), encodedSample(ByteVector(300))}) {
    for (const Against against : {Against::start, Against::end}) {
      const GuardedBuffer source(sample.stream, against);
      const GuardedBuffer room(sample.content.size(), against);
      const GuardedBuffer large(sample.content.size() + 3'000, against);
      for (std::size_t bit = 0; bit < 8 * sample.stream.size(); ++bit) {
        std::uint8_t& byte = source.bytes()[bit / 8];
        byte = static_cast<std::uint8_t>(byte ^ 1U << (bit % 8));
        const std::size_t count = compression_decode_buffer(room.bytes(), source.bytes(), {}, COMPRESSION_LZFSE);
        EXPECT_LE(count, room.bytes().size());
        EXPECT_LE(compression_decode_buffer(large.bytes(), source.bytes(), {}, COMPRESSION_LZFSE),
                  large.bytes().size());
        if (bit < 32) {
          EXPECT_EQ(count, 0U) << "a wrong magic in front";
        }
        byte = static_cast<std::uint8_t>(byte ^ 1U << (bit % 8));
      }
    }
  }
}

TEST(HostileStream, aFullDestinationEndsWithItsCapacity) {
  const Sample sample = everyKind();
  const ByteVector damagedEnd = ByteVector(sample.stream.begin(), sample.stream.end() - 4) + bytesOf("junk");
  for (std::size_t capacity = 0; capacity <= sample.content.size(); ++capacity) {
    const GuardedBuffer room(capacity, Against::end);
    EXPECT_EQ(compression_decode_buffer(room.bytes(), damagedEnd, {}, COMPRESSION_LZFSE), capacity);
    EXPECT_TRUE(std::ranges::equal(room.bytes(), std::span(sample.content).first(capacity)));
  }
  ByteVector larger(sample.content.size() + 1);
  EXPECT_EQ(compression_decode_buffer(larger, damagedEnd, {}, COMPRESSION_LZFSE), 0U);
}

}  // namespace quillbrook
