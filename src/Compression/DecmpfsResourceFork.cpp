// SPDX-License-Identifier: MIT
#include "Compression/DecmpfsResourceFork.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "Compression/LZFSE.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::DecmpfsResourceFork {

std::expected<ByteBuffer, Error> encode(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > maximumFileByteCount) {
    return std::unexpected(
        DataExceedsMaximum{.payloadBytes = static_cast<std::int64_t>(bytes.size()), .maxBytes = maximumFileByteCount});
  }
  const std::size_t tableLength = tableByteCount(bytes.size());
  // Enough for the worst case, so that nothing is moved: memory that is never touched costs nothing.
  ByteBuffer fork(tableLength + bytes.size() + blockCount(bytes.size()) * LZFSE::encodeHeadroom);
  std::vector<std::uint32_t> offsets{static_cast<std::uint32_t>(tableLength)};
  offsets.reserve(blockCount(bytes.size()) + 1);
  std::size_t end = tableLength;
  for (std::size_t i = 0; i < blockCount(bytes.size()); ++i) {
    const auto rest = bytes.subspan(i * blockByteCount);
    const auto block = rest.first(std::min(blockByteCount, rest.size()));
    const auto space = std::span(fork).subspan(end, block.size() + LZFSE::encodeHeadroom);
    const std::size_t chunkLength = LZFSE::encodeInto(space, block);
    if (chunkLength == 0) return std::unexpected(EncodeFailed{});
    end += chunkLength;
    offsets.push_back(static_cast<std::uint32_t>(end));
  }
  fork.resize(end);
  std::ranges::copy(offsetTable(offsets), fork.begin());
  return fork;
}

ByteBuffer offsetTable(std::span<const std::uint32_t> offsets) {
  ByteBuffer table(offsets.size_bytes());
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    LittleEndian::store(table.data() + i * sizeof(std::uint32_t), offsets[i]);
  }
  return table;
}

ByteBuffer forkOfOneChunk(std::span<const std::uint8_t> chunk) {
  constexpr std::uint32_t tableLength = tableByteCount(1);
  ByteBuffer fork = offsetTable(std::array{tableLength, tableLength + static_cast<std::uint32_t>(chunk.size())});
  fork.insert(fork.end(), chunk.begin(), chunk.end());
  return fork;
}

std::expected<ByteBuffer, Error> decode(std::span<const std::uint8_t> fork, std::size_t fileByteCount) {
  const std::size_t tableLength = tableByteCount(fileByteCount);
  if (fork.size() < tableLength) return std::unexpected(ForkTruncated{});
  const auto entry = [&](std::size_t i) -> std::size_t {
    return LittleEndian::load<std::uint32_t>(fork.data() + i * sizeof(std::uint32_t));
  };
  if (entry(0) != tableLength) {
    return std::unexpected(
        InvalidForkHeader{"first offset " + std::to_string(entry(0)) + " != " + std::to_string(tableLength)});
  }
  ByteBuffer bytes(fileByteCount);
  std::size_t decoded = 0;
  for (std::size_t i = 0; i < blockCount(fileByteCount); ++i) {
    if (entry(i + 1) > fork.size() || entry(i + 1) < entry(i)) return std::unexpected(ForkTruncated{});
    const auto chunk = fork.subspan(entry(i), entry(i + 1) - entry(i));
    const auto block = std::span(bytes).subspan(decoded).first(std::min(blockByteCount, fileByteCount - decoded));
    const std::size_t count = LZFSE::decodeInto(block, chunk);
    if (count != block.size()) {
      return std::unexpected(DecodeFailed{.expectedBytes = static_cast<std::int64_t>(block.size()),
                                          .gotBytes = static_cast<std::int64_t>(count)});
    }
    decoded += count;
  }
  if (decoded != fileByteCount) {
    return std::unexpected(
        SizeMismatch{.expected = static_cast<std::int64_t>(fileByteCount), .got = static_cast<std::int64_t>(decoded)});
  }
  return bytes;
}

}  // namespace quillbrook::DecmpfsResourceFork
