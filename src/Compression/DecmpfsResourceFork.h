// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <variant>

#include "Compression/ByteBuffer.h"
#include "Compression/Header/PayloadLimits.h"
#include "Compression/LZFSEError.h"
#include "Compression/ResourceForkError.h"

// The resource fork of a file of type `lzfseRsrc`: a table of N + 1 offsets, little-endian and counted from the fork's
// first byte, then N chunks back to back. Chunk i lies from entry i up to entry i + 1 and is one complete stream of
// one block of the file. No chunk is stored raw: one that does not shrink is longer than its block.
// Stateless; any thread.
namespace quillbrook::DecmpfsResourceFork {

inline constexpr std::size_t blockByteCount = PayloadLimits::blockByteCount;
inline constexpr std::size_t maximumFileByteCount = PayloadLimits::maximumFileByteCount;

// Blocks that a file of `fileByteCount` bytes has, and the length of its offset table.
[[nodiscard]] constexpr std::size_t blockCount(std::size_t fileByteCount) {
  return fileByteCount / blockByteCount + (fileByteCount % blockByteCount == 0 ? 0 : 1);
}
[[nodiscard]] constexpr std::size_t tableByteCount(std::size_t fileByteCount) {
  return (blockCount(fileByteCount) + 1) * sizeof(std::uint32_t);
}
static_assert(tableByteCount(maximumFileByteCount) == 131'076);

using Error = std::variant<ResourceForkError, LZFSEError>;

// The fork of a file held in memory. Nothing is checked: the caller verifies the whole.
[[nodiscard]] std::expected<ByteBuffer, Error> encode(std::span<const std::uint8_t> bytes);

// The same for a file of one block, from its chunk.
[[nodiscard]] ByteBuffer forkOfOneChunk(std::span<const std::uint8_t> chunk);

// The N + 1 entries as they stand in the fork.
[[nodiscard]] ByteBuffer offsetTable(std::span<const std::uint32_t> offsets);

// The `fileByteCount` bytes of the file. Bytes of the fork behind the last entry are ignored.
[[nodiscard]] std::expected<ByteBuffer, Error> decode(std::span<const std::uint8_t> fork, std::size_t fileByteCount);

}  // namespace quillbrook::DecmpfsResourceFork
