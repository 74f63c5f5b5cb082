// SPDX-License-Identifier: MIT
#include <zlib.h>

#include <thread>

#include "BuiltContainer.h"
#include "Container/ContainerReader.h"

namespace quillbrook::test {
namespace {

using enum CompressionType;

// Built by hand, so that no encoder of ours has a say. Of content whose length leaves no rest below 16 for the last.
Bytes lzvnLiterals(const Bytes& content) {
  Bytes opcodes;
  for (auto at = content.begin(); at != content.end();) {
    const auto count = std::min<std::ptrdiff_t>(content.end() - at, 271);
    opcodes = std::move(opcodes) + Bytes{0xE0, static_cast<std::uint8_t>(count - 16)} + Bytes(at, at + count);
    at += count;
  }
  return opcodes + Bytes{0x06, 0, 0, 0, 0, 0, 0, 0};
}

Bytes lzfseStored(const Bytes& content) {
  return storedBlock(content) + endMarker();
}

Bytes zlibStream(const Bytes& content) {
  auto count = compressBound(content.size());
  Bytes stream(count);
  EXPECT_EQ(compress2(stream.data(), &count, content.data(), content.size(), 6), Z_OK);
  return prefix(stream, count);
}

// The chunks of a fork, every other block stored behind `marker`.
std::vector<Bytes> chunks(const Bytes& content, const std::function<Bytes(const Bytes&)>& encode, std::uint8_t marker) {
  auto all = blocksOf(content);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i % 2 == 1 ? Bytes{marker} + all[i] : encode(all[i]);
  return all;
}

Bytes resourceMap(const std::vector<Bytes>& blocks, std::uint32_t dataOffset = 0x100) {
  Bytes table = littleEndian(blocks.size());
  Bytes content;
  for (const auto& block : blocks) {
    table = table + littleEndian(4 + blocks.size() * 8 + content.size()) + littleEndian(block.size());
    content = content + block;
  }
  const auto byteCount = table.size() + content.size();
  return bigEndian(dataOffset) + bigEndian(0x104 + byteCount) + bigEndian(byteCount + 4) + bigEndian(50) +
         Bytes(0x100 - 16, 0) + bigEndian(byteCount) + table + content + Bytes(50, 0);
}

std::vector<std::tuple<std::string, BuiltContainer, Bytes>> goldenContainers() {
  const auto small = text(900);
  const auto large = text(3 * 65'536 + 1234);
  const auto inlined = [](CompressionType type, const Bytes& payload) { return build(type, 900, payload); };
  const auto forked = [&large](CompressionType type, const Bytes& fork) { return build(type, large.size(), {}, fork); };
  const auto stored = [](const Bytes& block) { return Bytes{0xFF} + block; };
  std::vector<Bytes> lzfseChunks;
  for (const auto& block : blocksOf(large)) lzfseChunks.push_back(lzfseStored(block));
  return {
      {"uncompressedAttr", inlined(uncompressedAttr, small), small},
      {"uncompressedAttr with surplus", inlined(uncompressedAttr, small + Bytes(1)), small},
      {"zlibAttr", inlined(zlibAttr, zlibStream(small)), small},
      {"zlibAttr stored", inlined(zlibAttr, Bytes{0xFF} + small), small},
      {"zlibAttr stored, another marker", inlined(zlibAttr, Bytes{0x2F} + small), small},
      {"zlibRsrc", forked(zlibRsrc, resourceMap(chunks(large, zlibStream, 0xFF))), large},
      {"datalessSparse", build(datalessSparse, 200'000, {}), Bytes(200'000, 0)},
      {"lzvnAttr", inlined(lzvnAttr, lzvnLiterals(small)), small},
      {"lzvnAttr stored", inlined(lzvnAttr, Bytes{0x06} + small), small},
      {"lzvnRsrc", forked(lzvnRsrc, forkOf(chunks(large, lzvnLiterals, 0x06))), large},
      {"uncompressedAttrV2", inlined(uncompressedAttrV2, Bytes{0xFF} + small), small},
      {"uncompressedRsrcV2", forked(uncompressedRsrcV2, forkOf(chunks(large, stored, 0x00))), large},
      {"lzfseAttr", inlined(lzfseAttr, lzfseStored(small)), small},
      {"lzfseAttr of ours", inlined(lzfseAttr, encoded(small)), small},
      {"lzfseAttr, empty", build(lzfseAttr, 0, bytesOf("whatever")), {}},
      {"lzfseRsrc", forked(lzfseRsrc, forkOf(lzfseChunks)), large},
      {"lzfseRsrc, empty", build(lzfseRsrc, 0, {}, forkOf({})), {}},
      {"lzfseRsrc of ours", buildLzfseFork(large), large},
  };
}

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
      {"negative as a file size", build(datalessSparse, std::uint64_t{1} << 63, {})},
  };
  for (const auto& [name, container] : contradictory) {
    EXPECT_EQ(contentOf(container), std::unexpected(ErrorNumber::inputOutput)) << name;
  }
  for (const auto type : {uncompressedRsrc, lzbitmapRsrc, lzbitmapAttr, static_cast<CompressionType>(2)}) {
    EXPECT_EQ(contentOf(build(type, 5, text(5), text(5))), std::unexpected(ErrorNumber::notSupported));
  }
}

}  // namespace
}  // namespace quillbrook::test
