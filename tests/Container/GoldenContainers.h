// SPDX-License-Identifier: MIT
#pragma once

#include <zlib.h>

#include "BuiltContainer.h"

// A container of every type that can be read, and its content.
namespace quillbrook::test {

// Built by hand, so that no encoder of ours has a say. Of content whose length leaves no rest below 16 for the last.
inline Bytes lzvnLiterals(const Bytes& content) {
  Bytes opcodes;
  for (auto at = content.begin(); at != content.end();) {
    const auto count = std::min<std::ptrdiff_t>(content.end() - at, 271);
    opcodes = std::move(opcodes) + Bytes{0xE0, static_cast<std::uint8_t>(count - 16)} + Bytes(at, at + count);
    at += count;
  }
  return opcodes + Bytes{0x06, 0, 0, 0, 0, 0, 0, 0};
}

inline Bytes lzfseStored(const Bytes& content) {
  return storedBlock(content) + endMarker();
}

inline Bytes zlibStream(const Bytes& content) {
  auto count = compressBound(content.size());
  Bytes stream(count);
  EXPECT_EQ(compress2(stream.data(), &count, content.data(), content.size(), 6), Z_OK);
  return prefix(stream, count);
}

// The chunks of a fork, every other block stored behind `marker`.
inline std::vector<Bytes> chunks(const Bytes& content, const std::function<Bytes(const Bytes&)>& encode,
                                 std::uint8_t marker) {
  auto all = blocksOf(content);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i % 2 == 1 ? Bytes{marker} + all[i] : encode(all[i]);
  return all;
}

inline Bytes resourceMap(const std::vector<Bytes>& blocks, std::uint32_t dataOffset = 0x100) {
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

inline std::vector<std::tuple<std::string, BuiltContainer, Bytes>> goldenContainers() {
  using enum CompressionType;
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

}  // namespace quillbrook::test
