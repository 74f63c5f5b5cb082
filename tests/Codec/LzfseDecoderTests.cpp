// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "Codec/GeneratedContent.h"
#include "Codec/GuardedBuffer.h"
#include "Codec/LzfseBlockBuilder.h"

namespace quillbrook {

namespace {

std::string decoded(const ByteVector& stream, std::size_t capacity) {
  const GuardedBuffer source(stream, GuardedBuffer::Against::end);
  const GuardedBuffer room(capacity, GuardedBuffer::Against::end);
  const std::size_t count = compression_decode_buffer(room.bytes(), source.bytes(), {}, COMPRESSION_LZFSE);
  return {room.bytes().begin(), room.bytes().begin() + static_cast<std::ptrdiff_t>(count)};
}

void expectBlock(const LzfseBlockBuilder& block, const std::string& expected) {
  for (const ByteVector& bytes : {block.packed(), block.plain()}) {
    const std::string kind(bytes.begin(), bytes.begin() + 4);
    EXPECT_EQ(decoded(bytes + endMarker(), expected.size()), expected) << kind;
    EXPECT_EQ(decoded(bytes + endMarker(), expected.size() + 3'000), expected) << kind;
  }
}

// "hello hello hello!" and a trailing triple without a match.
LzfseBlockBuilder hello() {
  LzfseBlockBuilder block{.literals = bytesOf("hello !"), .triples = {{6, 11, 6}, {1, 0, 1}}, .rawBytes = 18};
  block.encode();
  return block;
}

}  // namespace

TEST(LzfseDecoder, copiesLiteralsAndMatches) {
  expectBlock(hello(), "hello hello hello!");
}

TEST(LzfseDecoder, everyRowOfTheFrequencyCode) {
  // Symbols with each row's smallest and largest frequency, and what is left over for 'z'.
  const std::vector<std::uint16_t> values{1, 2, 3, 4, 5, 6, 7, 8, 23, 24};
  LzfseBlockBuilder block{.triples = {{8, 0, 1}, {3, 1, 4}}, .rawBytes = 12};
  std::uint16_t rest = 1024;
  for (std::size_t i = 0; i < values.size(); ++i) {
    block.frequencies[104 + 'a' + i] = values[i];
    rest = static_cast<std::uint16_t>(rest - values[i]);
  }
  block.frequencies[104 + 'z'] = rest;
  block.frequencies[8] = 61;
  block.frequencies[3] = 3;
  block.frequencies[20] = 32;
  block.frequencies[21] = 32;
  block.frequencies[40 + 1] = 250;
  block.frequencies[40 + 4] = 6;
  block.literals = bytesOf("abcdefghijz");
  // The padding must be codable as well.
  block.literals.push_back('a');
  block.encode();
  expectBlock(block, "abcdefghijzh");

  LzfseBlockBuilder one{.literals = ByteVector(8, 'q'), .triples = {{8, 0, 1}}, .rawBytes = 8};
  one.encode();
  EXPECT_TRUE(one.literalPayload.empty()) << "one symbol with all 1024 states takes no bits";
  expectBlock(one, "qqqqqqqq");
}

TEST(LzfseDecoder, everySymbolOfTheValues) {
  // For each symbol of L, M and D a triple with its smallest and its largest value.
  constexpr auto l = LzfseBlockBuilder::l;
  LzfseBlockBuilder block;
  std::string expected;
  const auto add = [&](unsigned literals, unsigned match, unsigned distance) {
    for (unsigned i = 0; i < literals; ++i) {
      const auto byte = static_cast<std::uint8_t>('a' + (block.literals.size() * 7 + i) % 23);
      block.literals.push_back(byte);
      expected += static_cast<char>(byte);
    }
    for (unsigned i = 0; i < match; ++i) expected += expected[expected.size() - distance];
    block.triples.push_back({literals, match, distance});
  };
  const std::string before(262'139, 'b');
  expected = before;
  const auto forEachValue = [](const LzfseBlockBuilder::Table& table, auto use) {
    for (unsigned value = 0, symbol = 0; symbol < table.symbols; ++symbol) {
      const auto known = LzfseBlockBuilder::symbolOf(table, value);
      use(known.base);
      use(known.base + (1U << known.extraBits) - 1);
      value = known.base + (1U << known.extraBits);
    }
  };
  forEachValue(l, [&](unsigned value) { add(value, 4, 1); });
  forEachValue(LzfseBlockBuilder::m, [&](unsigned value) { add(1, value, 3); });
  forEachValue(LzfseBlockBuilder::d, [&](unsigned value) {
    if (value != 0) add(2, 5, value);
  });
  block.rawBytes = static_cast<std::uint32_t>(expected.size() - before.size());
  block.encode();
  // The block reaches back into the stored one in front.
  EXPECT_EQ(decoded(storedBlock(before) + block.packed() + endMarker(), expected.size()), expected);
  EXPECT_EQ(decoded(storedBlock(before) + block.plain() + endMarker(), expected.size() + 3'000), expected);
}

TEST(LzfseDecoder, distanceOfZeroRepeats) {
  LzfseBlockBuilder block{
      .literals = bytesOf("abcxyz"), .triples = {{3, 4, 3}, {1, 3, 0}, {2, 0, 1}, {0, 2, 0}}, .rawBytes = 15};
  block.encode();
  // The third triple copies nothing, yet its distance of 1 is what the last one repeats.
  expectBlock(block, "abcabcaxcaxyzzz");
}

TEST(LzfseDecoder, blocksOfAllKindsReachIntoEachOther) {
  LzfseBlockBuilder block{.literals = bytesOf("-"), .triples = {{1, 6, 6}}, .rawBytes = 7};
  block.encode();
  const ByteVector lzvn = lzvnBlock(6, {0x18, 7, 6, 0, 0, 0, 0, 0, 0, 0});
  const ByteVector stream = storedBlock("stored") + block.packed() + lzvn + block.plain() + endMarker();
  const std::string whole = decoded(stream, 100);
  std::string model = "stored";
  const auto match = [&model](std::size_t distance, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) model += model[model.size() - distance];
  };
  model += '-';
  match(6, 6);
  match(7, 6);
  model += '-';
  match(6, 6);
  EXPECT_EQ(whole, model);
}

TEST(LzfseDecoder, refusesInconsistentBlocks) {
  using Builder = LzfseBlockBuilder;
  struct Fault {
    std::string name;
    std::function<void(Builder&)> make;
  };
  const std::vector<Fault> faults{
      {"table of L does not add up", [](Builder& b) { ++b.frequencies[0]; }},
      {"table of M does not add up", [](Builder& b) { ++b.frequencies[20]; }},
      {"table of D does not add up", [](Builder& b) { ++b.frequencies[40]; }},
      {"table of literals does not add up", [](Builder& b) { ++b.frequencies[104]; }},
      {"no tables at all", [](Builder& b) { b.frequencies = {}; }},
      {"more raw bytes than the triples give", [](Builder& b) { ++b.rawBytes; }},
      {"fewer raw bytes than the triples give", [](Builder& b) { --b.rawBytes; }},
      {"too many literals", [](Builder& b) { b.literalCount = 40'004; }},
      {"literals that are no multiple of 4", [](Builder& b) { b.literalCount = 7; }},
      {"fewer literals than the triples take", [](Builder& b) { b.literalCount = 4; }},
      {"more literals than the triples take",
       [](Builder& b) {
         b = {.literals = bytesOf("hello !wasted"), .triples = {{6, 11, 6}, {1, 0, 1}}, .rawBytes = 18};
         b.encode();
       }},
      {"too many matches", [](Builder& b) { b.matchCount = 10'001; }},
      {"a triple too many", [](Builder& b) { ++b.matchCount; }},
      {"state of L outside its table", [](Builder& b) { b.lmdStates[0] = 64; }},
      {"state of M outside its table", [](Builder& b) { b.lmdStates[1] = 64; }},
      {"state of D outside its table", [](Builder& b) { b.lmdStates[2] = 256; }},
      {"literals that take more bits than there are",
       [](Builder& b) {
         b.literalCount = 40'000;
         b.rawBytes = 40'000;
         b.literalPayload.assign(8, 0);
       }},
      {"L/M/D payload missing", [](Builder& b) { b.lmdPayload.clear(), b.lmdUnusedBits = 0; }},
      {"unused bits without a byte", [](Builder& b) { b.literalPayload.clear(), b.literalUnusedBits = 7; }},
      {"first distance is 0",
       [](Builder& b) {
         b = {.literals = bytesOf("hello !"), .triples = {{6, 11, 0}, {1, 0, 1}}, .rawBytes = 18};
         b.encode();
       }},
      {"distance reaches in front of the content",
       [](Builder& b) {
         b = {.literals = bytesOf("hello !"), .triples = {{6, 11, 7}, {1, 0, 1}}, .rawBytes = 18};
         b.encode();
       }},
      {"match longer than the block",
       [](Builder& b) {
         b = {.literals = bytesOf("hello !"), .triples = {{6, 2'359, 6}, {1, 0, 1}}, .rawBytes = 18};
         b.encode();
       }},
  };
  for (const Fault& fault : faults) {
    Builder block = hello();
    fault.make(block);
    for (const ByteVector& bytes : {block.packed(), block.plain()}) {
      EXPECT_EQ(decoded(bytes + endMarker(), 19), "") << fault.name;
      EXPECT_EQ(decoded(bytes + endMarker(), 3'000), "") << fault.name;
    }
  }
}

// Found by fuzzing: tables that nothing is decoded with were built without a look at their sums.
TEST(LzfseDecoder, tablesWithoutUseAddUpOrAreLeftOut) {
  LzfseBlockBuilder empty;
  empty.encode();
  EXPECT_EQ(decoded(empty.packed() + storedBlock("x"), 10), "x");
  LzfseBlockBuilder leftOut = empty;
  leftOut.frequencies = {};
  EXPECT_EQ(decoded(leftOut.plain() + storedBlock("x"), 10), "x");
  for (const unsigned first : {0U, 20U, 40U, 104U}) {
    LzfseBlockBuilder overfull = empty;
    for (unsigned i = 0; i < 20; ++i) overfull.frequencies[first + i] = 1'000;
    EXPECT_EQ(decoded(overfull.packed() + storedBlock("x"), 10), "") << first;
    EXPECT_EQ(decoded(overfull.plain() + storedBlock("x"), 10), "") << first;
  }
}

TEST(LzfseDecoder, refusesInconsistentStreams) {
  const ByteVector literals{0xE4, 'a', 'b', 'c', 'd'};
  const ByteVector end{6, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(decoded(lzvnBlock(4, literals + end) + endMarker(), 100), "abcd");
  EXPECT_EQ(decoded(lzvnBlock(5, literals + end) + endMarker(), 100), "") << "fewer bytes than promised";
  EXPECT_EQ(decoded(lzvnBlock(3, literals + end) + endMarker(), 100), "") << "more bytes than promised";
  EXPECT_EQ(decoded(lzvnBlock(4, literals) + endMarker(), 100), "") << "no end opcode";
  EXPECT_EQ(decoded(storedBlock("abcd") + bytesOf("bvx3"), 100), "") << "unknown block";
  EXPECT_EQ(decoded(bytesOf("garbage that is no stream at all"), 100), "");
  ByteVector smallHeader = hello().packed();
  smallHeader[24] = 31;
  smallHeader[25] = 0;
  EXPECT_EQ(decoded(smallHeader + endMarker(), 100), "") << "header smaller than its fixed part";
}

}  // namespace quillbrook
