// SPDX-License-Identifier: MIT
#pragma once

#include "Codec/GeneratedContent.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ByteSource.h"
#include "Container/ContainerReader.h"
#include "Container/ContainerSealer.h"
#include "Container/ContainerState.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::test {

class MemorySource : public ByteSource {
 public:
  explicit MemorySource(Bytes content) : bytes(std::move(content)) {}
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination) const override {
    if (offset >= bytes.size()) return 0;
    const auto count = std::min<std::size_t>(destination.size(), bytes.size() - offset);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, destination.begin());
    fetched += count;
    return count;
  }
  Bytes bytes;
  mutable std::atomic<std::size_t> fetched = 0;
};

inline Bytes valueOf(CompressionType type, std::uint64_t logicalByteCount, const Bytes& payload) {
  const auto header = DecmpfsHeader::encode(type, logicalByteCount);
  return Bytes(header.begin(), header.end()) + payload;
}

struct BuiltContainer {
  Bytes data;
  ContainerState state;
};

// A sealed container with this header, value behind it, and fork.
inline BuiltContainer build(CompressionType type, std::uint64_t logicalByteCount, const Bytes& behindHeader,
                            const Bytes& fork = {}) {
  const Bytes value = valueOf(type, logicalByteCount, behindHeader);
  BuiltContainer built{.data = value + fork, .state = {}};
  built.state.st_flags = UF_COMPRESSED;
  built.state.valueByteCount = static_cast<std::uint32_t>(value.size());
  built.state.forkByteCount = static_cast<std::uint32_t>(fork.size());
  built.state.logicalByteCount = logicalByteCount;
  std::copy_n(value.begin(), built.state.head.size(), built.state.head.begin());
  const auto behind = ContainerSealer::seal(MemorySource(built.data), built.state);
  built.data = built.data + behind.value();
  return built;
}

inline std::vector<Bytes> blocksOf(const Bytes& content) {
  std::vector<Bytes> blocks;
  for (std::size_t at = 0; at < content.size(); at += 65'536) {
    const auto block = std::span(content).subspan(at, std::min(65'536UZ, content.size() - at));
    blocks.emplace_back(block.begin(), block.end());
  }
  return blocks;
}

// N + 1 offsets, then the chunks.
inline Bytes forkOf(const std::vector<Bytes>& chunks) {
  Bytes table;
  Bytes content;
  const auto tableByteCount = (chunks.size() + 1) * 4;
  for (const auto& chunk : chunks) {
    table = table + littleEndian(tableByteCount + content.size());
    content = content + chunk;
  }
  return table + littleEndian(tableByteCount + content.size()) + content;
}

inline Bytes lzfseForkOf(const Bytes& content) {
  std::vector<Bytes> chunks;
  for (const auto& block : blocksOf(content)) chunks.push_back(encoded(block));
  return forkOf(chunks);
}

inline BuiltContainer buildLzfseFork(const Bytes& content) {
  return build(CompressionType::lzfseRsrc, content.size(), {}, lzfseForkOf(content));
}

// The whole content, or why it cannot be read.
inline Result<Bytes> contentOf(const ByteSource& source, const ContainerState& state) {
  const auto reader = ContainerReader::open(source, state);
  if (!reader) return std::unexpected(reader.error());
  ContainerReader::Scratch scratch;
  Bytes content(static_cast<std::size_t>((*reader)->logicalByteCount()));
  const auto got = (*reader)->read(0, content, scratch);
  if (!got) return std::unexpected(got.error());
  return prefix(content, *got);
}

inline Result<Bytes> contentOf(const BuiltContainer& built) {
  return contentOf(MemorySource(built.data), built.state);
}

}  // namespace quillbrook::test
