// SPDX-License-Identifier: MIT
//
// Streams built by hand, cut short, damaged and contradictory.

#include "Codec/GeneratedContent.h"
#include "Codec/LzfseBlockBuilder.h"

namespace quillbrook::test {
namespace {

using Builder = LzfseBlockBuilder;

// What literals and a match make of the content so far.
void extend(Bytes& content, std::string_view literals, std::size_t distance, std::size_t count) {
  content.insert(content.end(), literals.begin(), literals.end());
  for (std::size_t i = 0; i < count; ++i) content.push_back(content.at(content.size() - distance));
}

struct Sample {
  Bytes content;
  Bytes stream;
};

// A block of each kind, the last three reaching back into the ones before.
Sample everyKind() {
  const Builder block = Builder::of("0123456", {{3, 60, 9}, {4, 20, 5}}, 87);
  const Bytes opcodes{0xE4, 'a', 'b', 'c', 'd', 0x98, 11, 'x', 'y', 0xF8, 0x0E, 6, 0, 0, 0, 0, 0, 0, 0};
  Sample sample{.content = bytesOf("stored bytesabcd"),
                .stream = storedBlock(bytesOf("stored bytes")) + lzvnBlock(20, opcodes) + block.packed() +
                          block.plain() + endMarker()};
  extend(sample.content, "xy", 11, 6 + 8);
  for (int i = 0; i < 2; ++i) {
    extend(sample.content, "012", 9, 60);
    extend(sample.content, "3456", 5, 20);
  }
  return sample;
}

Sample encodedSample(const Bytes& content) {
  return {.content = content, .stream = encoded(content)};
}

// In both kinds of block, with barely the room and with room for quick copies.
void expectBlock(const Builder& block, const Bytes& expected, std::size_t room, const Bytes& before = {}) {
  for (const Bytes& bytes : {block.packed(), block.plain()}) {
    EXPECT_TRUE(decoded(before + bytes + endMarker(), room) == expected);
    EXPECT_TRUE(decoded(before + bytes + endMarker(), room + 3'000) == expected);
  }
}

Builder hello() {
  return Builder::of("hello !", {{6, 11, 6}, {1, 0, 1}}, 18);
}

TEST(StreamDecoder, CopiesLiteralsAndMatches) {
  expectBlock(hello(), bytesOf("hello hello hello!"), 18);
  // A distance of 0 repeats, also that of a triple that copies nothing.
  expectBlock(Builder::of("abcxyz", {{3, 4, 3}, {1, 3, 0}, {2, 0, 1}, {0, 2, 0}}, 15), bytesOf("abcabcaxcaxyzzz"), 15);
  // One symbol with all states takes no bits.
  expectBlock(Builder::of("qqqqqqqq", {{8, 0, 1}}, 8), bytesOf("qqqqqqqq"), 8);
}

TEST(StreamDecoder, EverySymbolOfTheValuesAndEveryRowOfTheFrequencyCode) {
  // For each symbol of L, M and D a triple with its smallest and its largest value.
  Builder block;
  const Bytes before(262'139, 'b');
  Bytes expected = before;
  const auto add = [&](unsigned literals, unsigned match, unsigned distance) {
    const Bytes bytes = randomBytes(literals, 11, static_cast<unsigned>(block.triples.size()));
    block.literals = block.literals + bytes;
    extend(expected, std::string(bytes.begin(), bytes.end()), distance, match);
    block.triples.push_back({.l = literals, .m = match, .d = distance});
  };
  const auto forEachValue = [](const Builder::Table& table, const auto& use) {
    for (unsigned value = 0, index = 0; index < table.symbols; ++index) {
      const auto symbol = Builder::symbolOf(table, value);
      value += 1U << symbol.extraBits;
      use(symbol.base);
      use(value - 1);
    }
  };
  forEachValue(Builder::l, [&](unsigned value) { add(value, 4, 1); });
  forEachValue(Builder::m, [&](unsigned value) { add(1, value, 3); });
  forEachValue(Builder::d, [&](unsigned value) { add(2, 5, value == 0 ? 1 : value); });
  // Literals with each row's smallest and largest frequency; the last one has the rest.
  auto* frequency = &block.frequencies.at(Builder::literal.first);
  frequency[10] = 1'024;
  for (const auto value : std::vector<std::uint16_t>{1, 2, 3, 4, 5, 6, 7, 8, 23, 24}) {
    *frequency++ = value;
    block.frequencies.at(Builder::literal.first + 10) -= value;
  }
  block.rawBytes = expected.size() - before.size();
  block.encode();
  expectBlock(block, expected, expected.size(), storedBlock(before));
}

TEST(StreamDecoder, TruncatedAnywhereGivesAPrefix) {
  for (const auto& [content, stream] : {everyKind(), encodedSample(text(2'000)), encodedSample(randomBytes(300)),
                                        encodedSample(Bytes(300)), encodedSample(alternating(45'000, 135'000))}) {
    std::size_t before = 0;
    for (std::size_t size = 0; size + 4 < stream.size(); size += 1 + stream.size() / 1'000) {
      for (const std::size_t capacity : {content.size(), content.size() + 500}) {
        const Bytes part = decoded(prefix(stream, size), capacity);
        ASSERT_TRUE(part == prefix(content, part.size())) << size;
        ASSERT_GE(part.size(), before) << "a longer part of the stream gave less, at " << size;
        before = part.size();
      }
    }
    EXPECT_TRUE(decoded(prefix(stream, stream.size() - 4), content.size() + 1) == content) << "only without its end";
  }
}

TEST(StreamDecoder, EveryFlippedBitStaysWithinTheBuffers) {
  for (auto [content, stream] : {everyKind(), encodedSample(text(1'500)), encodedSample(Bytes(300))}) {
    for (std::size_t bit = 0; bit < 8 * stream.size(); ++bit) {
      stream[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
      for (const std::size_t capacity : {content.size(), content.size() + 3'000}) {
        EXPECT_LE(decoded(stream, capacity).size(), bit < 32 ? 0 : capacity) << "a wrong magic in front gives nothing";
      }
      stream[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    }
  }
}

TEST(StreamDecoder, AFullDestinationEndsWithItsCapacity) {
  const auto [content, stream] = everyKind();
  const Bytes damagedEnd = prefix(stream, stream.size() - 4) + bytesOf("junk");
  for (std::size_t capacity = 0; capacity <= content.size(); ++capacity) {
    EXPECT_TRUE(decoded(damagedEnd, capacity) == prefix(content, capacity)) << capacity;
  }
  EXPECT_EQ(decoded(damagedEnd, content.size() + 1), Bytes{});
  EXPECT_TRUE(decoded(stream, content.size() + 1) == content);
}

TEST(StreamDecoder, RefusesInconsistentBlocks) {
  const std::vector<std::pair<std::string, std::function<void(Builder&)>>> faults{
      {"no tables at all", [](Builder& b) { b.frequencies = {}; }},
      {"more raw bytes than the triples give", [](Builder& b) { ++b.rawBytes; }},
      {"fewer raw bytes than the triples give", [](Builder& b) { --b.rawBytes; }},
      {"too many literals", [](Builder& b) { b.literalCount = 40'004; }},
      {"literals that are no multiple of 4", [](Builder& b) { b.literalCount = 7; }},
      {"fewer literals than the triples take", [](Builder& b) { b.literalCount = 4; }},
      {"more literals than the triples take",
       [](Builder& b) { b = Builder::of("hello !wasted", {{6, 11, 6}, {1, 0, 1}}, 18); }},
      {"too many matches", [](Builder& b) { b.matchCount = 10'001; }},
      {"a triple too many", [](Builder& b) { ++b.matchCount; }},
      {"state of L outside its table", [](Builder& b) { b.lmdStates[0] = 64; }},
      {"state of M outside its table", [](Builder& b) { b.lmdStates[1] = 64; }},
      {"state of D outside its table", [](Builder& b) { b.lmdStates[2] = 256; }},
      {"literals that take more bits than there are",
       [](Builder& b) { b.literalCount = 40'000, b.rawBytes = 40'000, b.literalPayload.assign(8, 0); }},
      {"L/M/D payload missing", [](Builder& b) { b.lmdPayload.clear(), b.lmdUnusedBits = 0; }},
      {"unused bits without a byte", [](Builder& b) { b.literalPayload.clear(), b.literalUnusedBits = 7; }},
      {"first distance is 0", [](Builder& b) { b = Builder::of("hello !", {{6, 11, 0}, {1, 0, 1}}, 18); }},
      {"distance before the content", [](Builder& b) { b = Builder::of("hello !", {{6, 11, 7}, {1, 0, 1}}, 18); }},
      {"match beyond the block", [](Builder& b) { b = Builder::of("hello !", {{6, 2'359, 6}, {1, 0, 1}}, 18); }},
  };
  for (const auto& [name, make] : faults) {
    SCOPED_TRACE(name);
    Builder block = hello();
    make(block);
    expectBlock(block, {}, 19);
  }
  // Tables that do not add up, also where nothing is decoded with them; those may be left out.
  expectBlock(Builder::of("", {}, 0), bytesOf("x"), 10, storedBlock(bytesOf("x")));
  expectBlock({}, bytesOf("x"), 10, storedBlock(bytesOf("x")));
  for (const std::size_t first : {0UZ, 20UZ, 40UZ, 104UZ}) {
    SCOPED_TRACE(first);
    Builder block = hello();
    ++block.frequencies.at(first);
    expectBlock(block, {}, 19);
    Builder empty = Builder::of("", {}, 0);
    for (std::size_t i = 0; i < 20; ++i) empty.frequencies.at(first + i) = 1'000;
    expectBlock(empty, {}, 10);
  }
}

TEST(StreamDecoder, RefusesInconsistentStreams) {
  const Bytes literals{0xE4, 'a', 'b', 'c', 'd'};
  const Bytes end{6, 0, 0, 0, 0, 0, 0, 0};
  Bytes smallHeader = hello().packed();
  smallHeader[24] = 31;
  smallHeader[25] = 0;
  const std::vector<std::tuple<std::string, Bytes, std::string>> cases{
      {"sound", lzvnBlock(4, literals + end), "abcd"},
      {"fewer bytes than promised", lzvnBlock(5, literals + end), ""},
      {"more bytes than promised", lzvnBlock(3, literals + end), ""},
      {"no end opcode", lzvnBlock(4, literals), ""},
      {"unknown block", storedBlock(bytesOf("abcd")) + bytesOf("bvx3"), ""},
      {"no stream at all", bytesOf("garbage that is no stream at all"), ""},
      {"header smaller than its fixed part", smallHeader, ""},
  };
  for (const auto& [name, stream, expected] : cases) {
    EXPECT_EQ(decoded(stream + endMarker(), 100), bytesOf(expected)) << name;
  }
}

}  // namespace
}  // namespace quillbrook::test
