// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "Codec/Compression.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ByteSource.h"
#include "Container/ContainerReader.h"
#include "Container/ContainerSealer.h"
#include "Container/ContainerState.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

inline Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline Bytes littleEndian(std::uint32_t value) {
  Bytes bytes(4);
  LittleEndian::store(bytes.data(), value);
  return bytes;
}

inline Bytes bigEndian(std::uint32_t value) {
  auto bytes = littleEndian(value);
  std::ranges::reverse(bytes);
  return bytes;
}

// Words in random order: compresses well, and no two blocks are alike.
inline Bytes prose(std::size_t byteCount, unsigned seed = 7) {
  static constexpr std::string_view words[] = {"folder ", "becomes ", "smaller ", "and ", "every ", "program\n"};
  std::mt19937 random(seed);
  Bytes text;
  while (text.size() < byteCount) {
    const auto word = words[random() % std::size(words)];
    text.insert(text.end(), word.begin(), word.end());
    text.push_back(static_cast<std::uint8_t>('a' + random() % 26));
  }
  text.resize(byteCount);
  return text;
}

class MemorySource : public ByteSource {
 public:
  explicit MemorySource(Bytes content) : bytes(std::move(content)) {}
  Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination) const override {
    if (offset >= bytes.size()) return 0;
    const auto count = std::min<std::size_t>(destination.size(), bytes.size() - offset);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, destination.begin());
    return count;
  }
  Bytes bytes;
};

struct BuiltContainer {
  Bytes data;
  ContainerState state;
};

// A sealed container with this header, value behind it, and fork.
inline BuiltContainer build(CompressionType type, std::uint64_t logicalByteCount, const Bytes& behindHeader,
                            const Bytes& fork = {}) {
  const auto header = DecmpfsHeader::encode(type, logicalByteCount);
  BuiltContainer built;
  built.data = joined({Bytes(header.begin(), header.end()), behindHeader, fork});
  built.state.st_flags = UF_COMPRESSED;
  built.state.valueByteCount = static_cast<std::uint32_t>(header.size() + behindHeader.size());
  built.state.forkByteCount = static_cast<std::uint32_t>(fork.size());
  built.state.logicalByteCount = logicalByteCount;
  built.state.head = header;
  const auto behind = ContainerSealer::seal(MemorySource(built.data), built.state);
  built.data.insert(built.data.end(), behind.value().begin(), behind.value().end());
  return built;
}

// N + 1 offsets, then the chunks.
inline Bytes forkOf(const std::vector<Bytes>& chunks) {
  Bytes table;
  Bytes content;
  auto offset = static_cast<std::uint32_t>((chunks.size() + 1) * 4);
  for (const auto& chunk : chunks) {
    table = joined({table, littleEndian(offset)});
    content = joined({content, chunk});
    offset += static_cast<std::uint32_t>(chunk.size());
  }
  return joined({table, littleEndian(offset), content});
}

inline std::vector<Bytes> blocksOf(const Bytes& content) {
  std::vector<Bytes> blocks;
  for (std::size_t at = 0; at < content.size(); at += 65'536) {
    const auto end = std::min<std::size_t>(content.size(), at + 65'536);
    blocks.emplace_back(content.begin() + static_cast<std::ptrdiff_t>(at),
                        content.begin() + static_cast<std::ptrdiff_t>(end));
  }
  return blocks;
}

inline Bytes lzfse(const Bytes& content) {
  Bytes stream(content.size() + 64);
  stream.resize(compression_encode_buffer(stream, content, {}, COMPRESSION_LZFSE));
  return stream;
}

inline BuiltContainer buildLzfseFork(const Bytes& content) {
  std::vector<Bytes> chunks;
  for (const auto& block : blocksOf(content)) chunks.push_back(lzfse(block));
  return build(CompressionType::lzfseRsrc, content.size(), {}, forkOf(chunks));
}

// The whole content, or why it cannot be read.
inline Result<Bytes> contentOf(const ByteSource& source, const ContainerState& state) {
  const auto reader = ContainerReader::open(source, state);
  if (!reader) return std::unexpected(reader.error());
  ContainerReader::Scratch scratch;
  Bytes content(static_cast<std::size_t>((*reader)->logicalByteCount()));
  const auto got = (*reader)->read(0, content, scratch);
  if (!got) return std::unexpected(got.error());
  content.resize(*got);
  return content;
}

inline Result<Bytes> contentOf(const BuiltContainer& built) {
  return contentOf(MemorySource(built.data), built.state);
}

}  // namespace quillbrook::test
