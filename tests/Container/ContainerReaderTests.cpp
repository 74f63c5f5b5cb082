// SPDX-License-Identifier: MIT

#include "GoldenContainers.h"

namespace quillbrook::test {
namespace {

using enum CompressionType;

TEST(ContainerReader, ReadsEveryReadableType) {
  // One for all containers, as each thread of the daemon has.
  std::array<ContainerReader::Scratch, 2> scratches;
  for (const auto& [name, container, content] : goldenContainers()) {
    const MemorySource source(container.data);
    const auto reader = ContainerReader::open(source, container.state);
    ASSERT_TRUE(reader) << name << ": " << reader.error().text();
    // The whole, then parts of it.
    const auto readParts = [&](unsigned thread) {
      auto random = generator(thread);
      for (int round = 0; round < 60; ++round) {
        const auto offset = round == 0 ? 0 : random() % (content.size() + 10);
        // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the binding is there as long as the case is
        Bytes piece(round == 0 ? content.size() : random() % (round % 2 == 0 ? 5'000 : 200'000));
        const auto got = (*reader)->read(offset, piece, scratches.at(thread));
        ASSERT_TRUE(got) << name << " at " << offset << ": " << got.error().text();
        const auto expected = std::span(content).subspan(std::min(offset, content.size()));
        ASSERT_EQ(*got, std::min(piece.size(), expected.size())) << name << " at " << offset;
        ASSERT_TRUE(std::ranges::equal(prefix(piece, *got), expected.first(*got))) << name << " at " << offset;
      }
    };
    const std::jthread other(readParts, 1);
    readParts(0);
  }
}

// What a read does not need it does not fetch: counted, since that is the promise.
TEST(ContainerReader, TouchesOnlyTheSpansOfTheBlock) {
  const auto built = buildLzfseFork(text(60 * 65'536));
  ASSERT_GT(built.data.size(), 6 * 65'536U);
  const MemorySource source(built.data);
  const auto reader = ContainerReader::open(source, built.state);
  ASSERT_TRUE(reader);
  ContainerReader::Scratch scratch;
  Bytes piece(4096);
  for (const auto block : {50UZ, 3UZ, 31UZ}) {
    source.fetched = 0;
    ASSERT_TRUE((*reader)->read(block * 65'536 + 100, piece, scratch));
    EXPECT_LE(source.fetched, 2 * 65'536U);
    source.fetched = 0;
    ASSERT_TRUE((*reader)->read(block * 65'536 + 9'000, piece, scratch));
    EXPECT_EQ(source.fetched, 0U) << "the last block is remembered";
  }
}

TEST(ContainerReader, RefusesWhatContradictsItself) {
  const auto content = text(65'536 + 100);
  const auto good = lzfseForkOf(content);
  const auto withEntry = [&](std::ptrdiff_t index, std::size_t value) {
    auto fork = good;
    std::ranges::copy(littleEndian(value), fork.begin() + index * 4);
    return build(lzfseRsrc, content.size(), {}, fork);
  };
  const auto withState = [](auto change) {
    auto built = build(lzfseAttr, 100, encoded(text(100)));
    change(built.state);
    return built;
  };
  const auto withMap = [](std::uint32_t dataOffset) {
    return build(zlibRsrc, 100, {}, resourceMap({zlibStream(text(100))}, dataOffset));
  };
  const std::vector<std::pair<std::string, BuiltContainer>> contradictory{
      {"first offset", withEntry(0, 16)},
      {"offset backward", withEntry(1, 8)},
      {"empty chunk", withEntry(1, 12)},
      {"chunk out of all proportion", withEntry(1, 12 + 140'000)},
      {"last offset behind the fork", withEntry(2, good.size() + 1)},
      {"chunk too short for its block", withEntry(1, 5'000)},
      {"fork shorter than its table", build(lzfseRsrc, 3 * 65'536, {}, Bytes(15, 0))},
      {"size asks for a table beyond reason", build(lzfseRsrc, std::uint64_t{1} << 62, {}, good)},
      {"map outside the fork", withMap(0xFFFFFFFF)},
      {"map in its own header", withMap(3)},
      {"state and header disagree on the size", withState([](ContainerState& s) { s.logicalByteCount = 99; })},
      {"state and data disagree on the head", withState([](ContainerState& s) { s.head[4] = 12; })},
      {"not sealed", withState([](ContainerState& s) { s.st_flags = 0; })},
      {"content is a redo copy", withState([](ContainerState& s) { s.redoIdentifier = 5; })},
      {"stored bytes missing", build(uncompressedAttr, 10, text(9))},
      {"marker missing", build(uncompressedAttrV2, 9, text(10))},
      {"no payload", build(lzfseAttr, 10, {})},
      {"inline size beyond reason", build(lzvnAttr, std::uint64_t{1} << 40, text(10))},
      {"zlib garbage", build(zlibAttr, 10, bytesOf("x not zlib"))},
  };
  for (const auto& [name, container] : contradictory) {
    EXPECT_EQ(contentOf(container), std::unexpected(ErrorNumber::inputOutput)) << name;
  }
  // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): what a later version may write
  for (const auto type : {uncompressedRsrc, lzbitmapRsrc, lzbitmapAttr, static_cast<CompressionType>(2)}) {
    EXPECT_EQ(contentOf(build(type, 5, text(5), text(5))), std::unexpected(ErrorNumber::notSupported));
  }
}

}  // namespace
}  // namespace quillbrook::test
