// SPDX-License-Identifier: MIT
#include "Container/PayloadLayout.h"

#include <array>
#include <bit>
#include <cstddef>
#include <optional>

#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/Header/PayloadLimits.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {
namespace {

using Coding = PayloadLayout::Coding;

constexpr std::uint64_t forkBlockByteCount = PayloadLimits::blockByteCount;
// No chunk of a sound encoder is longer than its block by more than a few bytes.
constexpr std::uint32_t largestChunkByteCount = 2 * forkBlockByteCount;
// 64 GiB of logical bytes: far beyond what the format's 32-bit offsets can hold in practice.
constexpr std::uint64_t largestBlockCount = std::uint64_t{1} << 20;
// An attribute cannot be longer on any host, and an inline file is decoded in one piece.
constexpr std::uint32_t largestValueByteCount = 65'536;
constexpr std::uint64_t largestInlineByteCount = std::uint64_t{16} << 20;

enum class Place : std::uint8_t { none, value, forkTable, resourceMap };

struct Kind {
  Place place;
  Coding coding;
};

// Nothing for the types that nobody here can decode.
std::optional<Kind> kind(CompressionType type) {
  switch (type) {
    case CompressionType::uncompressedAttr: return Kind{Place::value, Coding::stored};
    case CompressionType::zlibAttr: return Kind{Place::value, Coding::zlib};
    case CompressionType::zlibRsrc: return Kind{Place::resourceMap, Coding::zlib};
    case CompressionType::datalessSparse: return Kind{Place::none, Coding::zeros};
    case CompressionType::lzvnAttr: return Kind{Place::value, Coding::lzvn};
    case CompressionType::lzvnRsrc: return Kind{Place::forkTable, Coding::lzvn};
    case CompressionType::uncompressedAttrV2: return Kind{Place::value, Coding::markedStored};
    case CompressionType::uncompressedRsrcV2: return Kind{Place::forkTable, Coding::bytePrefixed};
    case CompressionType::lzfseAttr: return Kind{Place::value, Coding::lzfse};
    case CompressionType::lzfseRsrc: return Kind{Place::forkTable, Coding::lzfse};
    case CompressionType::uncompressedRsrc:
    case CompressionType::lzbitmapAttr:
    case CompressionType::lzbitmapRsrc: return std::nullopt;
  }
  return std::nullopt;
}

std::unexpected<ErrorNumber> damaged() {
  return std::unexpected(ErrorNumber::inputOutput);
}

std::uint32_t loadBigEndian(const std::uint8_t* bytes) {
  return std::byteswap(LittleEndian::load<std::uint32_t>(bytes));
}

bool isChunkSound(const PayloadLayout::Chunk& chunk, std::uint64_t available) {
  return chunk.byteCount != 0 && chunk.byteCount <= largestChunkByteCount && chunk.offset <= available &&
         chunk.byteCount <= available - chunk.offset;
}

// N + 1 offsets from the fork's start, then the chunks back to back.
Result<void> readForkTable(const ContainerPayload& payload, const ContainerState& state, std::uint64_t blockCount,
                           PayloadLayout& layout) {
  const auto tableByteCount = (blockCount + 1) * sizeof(std::uint32_t);
  if (tableByteCount > state.forkByteCount) return damaged();
  std::vector<std::uint8_t> table(static_cast<std::size_t>(tableByteCount));
  if (const auto read = payload.read(state.valueByteCount, table); !read) return read;
  const auto entry = [&table](std::size_t i) {
    return LittleEndian::load<std::uint32_t>(table.data() + i * sizeof(std::uint32_t));
  };
  if (entry(0) != tableByteCount) return damaged();
  layout.base = state.valueByteCount;
  layout.chunks.resize(static_cast<std::size_t>(blockCount));
  for (std::size_t i = 0; i < layout.chunks.size(); ++i) {
    if (entry(i + 1) < entry(i)) return damaged();
    layout.chunks[i] = {.offset = entry(i), .byteCount = entry(i + 1) - entry(i)};
    if (!isChunkSound(layout.chunks[i], state.forkByteCount)) return damaged();
  }
  return {};
}

// A resource fork with a map: big-endian offsets of its parts, then, behind the length of the data, a little-endian
// table of block offsets and lengths that counts from itself.
Result<void> readResourceMap(const ContainerPayload& payload, const ContainerState& state, std::uint64_t blockCount,
                             PayloadLayout& layout) {
  constexpr std::size_t mapHeaderByteCount = 16;
  constexpr std::size_t entryByteCount = 8;
  if (state.forkByteCount < mapHeaderByteCount) return damaged();
  std::array<std::uint8_t, mapHeaderByteCount> header;
  if (const auto read = payload.read(state.valueByteCount, header); !read) return read;
  const std::uint64_t dataOffset = loadBigEndian(header.data());
  const auto tableOffset = dataOffset + sizeof(std::uint32_t);  // behind the length of the data
  const auto tableByteCount = sizeof(std::uint32_t) + blockCount * entryByteCount;
  if (dataOffset < mapHeaderByteCount || tableOffset + tableByteCount > state.forkByteCount) return damaged();
  std::vector<std::uint8_t> table(static_cast<std::size_t>(tableByteCount));
  if (const auto read = payload.read(state.valueByteCount + tableOffset, table); !read) return read;
  if (LittleEndian::load<std::uint32_t>(table.data()) != blockCount) return damaged();
  layout.base = state.valueByteCount + tableOffset;
  layout.chunks.resize(static_cast<std::size_t>(blockCount));
  for (std::size_t i = 0; i < layout.chunks.size(); ++i) {
    const auto* entry = table.data() + sizeof(std::uint32_t) + i * entryByteCount;
    layout.chunks[i] = {.offset = LittleEndian::load<std::uint32_t>(entry),
                        .byteCount = LittleEndian::load<std::uint32_t>(entry + 4)};
    if (!isChunkSound(layout.chunks[i], state.forkByteCount - tableOffset)) return damaged();
  }
  return {};
}

}  // namespace

Result<PayloadLayout> PayloadLayout::read(const ContainerPayload& payload, const ContainerState& state) {
  if (state.valueByteCount < DecmpfsHeader::byteCount || state.valueByteCount > largestValueByteCount) return damaged();
  std::array<std::uint8_t, DecmpfsHeader::byteCount> head;
  if (const auto read = payload.read(0, head); !read) return std::unexpected(read.error());
  if (head != state.head) return damaged();
  const auto header = DecmpfsHeader::parse(head);
  if (!header) {
    const bool isUnknownType = std::holds_alternative<UnknownCompressionType>(header.error());
    return std::unexpected(isUnknownType ? ErrorNumber::notSupported : ErrorNumber::inputOutput);
  }
  const auto kindOfType = kind(header->compressionType);
  if (!kindOfType) return std::unexpected(ErrorNumber::notSupported);
  const auto size = header->uncompressedSize;
  if (size != state.logicalByteCount) return damaged();

  PayloadLayout layout{.coding = kindOfType->coding, .blockByteCount = forkBlockByteCount, .base = 0, .chunks = {}};
  if (size == 0 || kindOfType->place == Place::none) return layout;
  if (kindOfType->place == Place::value) {
    const auto byteCount = state.valueByteCount - static_cast<std::uint32_t>(DecmpfsHeader::byteCount);
    if (byteCount == 0 || size > largestInlineByteCount) return damaged();
    layout.blockByteCount = size;
    layout.chunks = {{.offset = DecmpfsHeader::byteCount, .byteCount = byteCount}};
    return layout;
  }
  const auto blockCount = (size - 1) / forkBlockByteCount + 1;
  if (blockCount > largestBlockCount) return damaged();
  const auto table = kindOfType->place == Place::forkTable ? readForkTable(payload, state, blockCount, layout)
                                                           : readResourceMap(payload, state, blockCount, layout);
  if (!table) return std::unexpected(table.error());
  return layout;
}

}  // namespace quillbrook
