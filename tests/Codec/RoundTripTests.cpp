// SPDX-License-Identifier: MIT

#include "Codec/GeneratedContent.h"

namespace quillbrook::test {
namespace {

// Encodes and decodes in all ways that a capacity can relate to the content.
void expectRoundTrip(const Bytes& content) {
  const Bytes stream = encoded(content);
  ASSERT_FALSE(stream.empty()) << "more than the content and the headroom";
  const std::size_t size = content.size();
  for (const std::size_t capacity : {size, size + 1, size + 1'000, size - std::min<std::size_t>(size, 1), size / 2}) {
    ASSERT_TRUE(decoded(stream, capacity) == prefix(content, capacity)) << "capacity " << capacity;
  }
}

TEST(CodecRoundTrip, EverySmallSizeAndDistance) {
  for (std::size_t size = 0; size <= 400; ++size) {
    SCOPED_TRACE(size);
    for (const Bytes& content : {randomBytes(size), text(size), Bytes(size)}) expectRoundTrip(content);
  }
  for (std::size_t period = 1; period <= 70; ++period) {
    SCOPED_TRACE("period " + std::to_string(period));
    for (const std::size_t size : {period + 5, 100UZ, 5'000UZ}) expectRoundTrip(periodic(period, size));
  }
}

TEST(CodecRoundTrip, EveryNatureAroundTheBlockSize) {
  for (const std::size_t size : {16'384UZ, 65'535UZ, 65'536UZ, 65'537UZ, 1'048'576UZ}) {
    const std::vector<std::pair<std::string, Bytes>> cases{
        {"zeros", Bytes(size)},
        {"random", randomBytes(size)},
        {"text", text(size)},
        {"more literals than a block holds", randomBytes(size, 16)},
        {"two values", randomBytes(size, 2)},
        {"more matches than a block holds", manyMatches(size)},
        {"long matches", periodic(3'001, size)},
        {"short stored stretches", alternating(600, size)},
        {"long stored stretches", alternating(50'000, size)},
    };
    for (const auto& [name, content] : cases) {
      SCOPED_TRACE(name + " of " + std::to_string(size));
      expectRoundTrip(content);
    }
  }
}

TEST(CodecRoundTrip, DistancesAroundTheLargest) {
  constexpr std::size_t largest = 262'139;
  for (const std::size_t distance : {65'535UZ, 65'536UZ, largest - 1, largest, largest + 1, 400'000UZ}) {
    SCOPED_TRACE(distance);
    const Bytes content = randomBytes(distance) + randomBytes(distance);
    expectRoundTrip(content);
    EXPECT_EQ(encoded(content).size() < content.size() * 6 / 10, distance <= largest);
  }
}

TEST(CodecEncoder, TakesTheSmallestForm) {
  const std::vector<std::tuple<Bytes, std::string, std::size_t>> cases{
      {{}, "bvx$", 4},
      {bytesOf("abcd"), "bvx-", 16},
      {Bytes(200), "bvxn", 40},
      {text(20'000), "bvx2", 10'000},
      // Whatever cannot be compressed costs one stored block.
      {randomBytes(100), "bvx-", 112},
      {randomBytes(3'000'000), "bvx-", 3'000'012},
  };
  for (const auto& [content, magic, atMost] : cases) {
    const Bytes stream = encoded(content);
    EXPECT_EQ(prefix(stream, 4), bytesOf(magic));
    EXPECT_LE(stream.size(), atMost) << magic;
  }
}

TEST(CodecEncoder, KeepsToItsBuffersAndSaysIfTheyAreTooSmall) {
  // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): a caller may pass any number
  const auto otherAlgorithm = static_cast<compression_algorithm>(0x205);
  for (const Bytes& content : {text(3'000), text(70'000), randomBytes(300), Bytes(500), alternating(60'000, 240'000)}) {
    const Bytes stream = encoded(content);
    for (std::size_t missing = 0; missing <= stream.size(); missing += 1 + stream.size() / 150) {
      Bytes room(stream.size() - missing);
      room.resize(compression_encode_buffer(room, content, {}, COMPRESSION_LZFSE));
      ASSERT_TRUE(room == (missing == 0 ? stream : Bytes{})) << missing << " missing of " << stream.size();
    }
    Bytes room(content.size() + 64);
    EXPECT_EQ(compression_encode_buffer(room, content, {}, otherAlgorithm), 0U);
    EXPECT_EQ(compression_decode_buffer(room, stream, {}, otherAlgorithm), 0U);
  }
}

}  // namespace
}  // namespace quillbrook::test
