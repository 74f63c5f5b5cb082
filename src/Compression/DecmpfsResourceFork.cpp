// SPDX-License-Identifier: MIT
#include "Compression/DecmpfsResourceFork.h"

#include <algorithm>
#include <string>

#include "Compression/Header/LittleEndian.h"
#include "Compression/LZFSE.h"

namespace quillbrook::DecmpfsResourceFork {

std::expected<ByteBuffer, Error> encode(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > maximumFileByteCount) {
    return std::unexpected(
        DataExceedsMaximum{.payloadBytes = static_cast<std::int64_t>(bytes.size()), .maxBytes = maximumFileByteCount});
  }
  const std::size_t tableLength = tableByteCount(bytes.size());
  ByteBuffer fork;
  // Enough for the worst case, so that nothing is moved: memory that is never touched costs nothing.
  fork.reserve(tableLength + bytes.size() + blockCount(bytes.size()) * LZFSE::encodeHeadroom);
  fork.resize(tableLength);
  LittleEndian::store(fork.data(), static_cast<std::uint32_t>(tableLength));
  for (std::size_t i = 0; i < blockCount(bytes.size()); ++i) {
    const auto block =
        bytes.subspan(i * blockByteCount).first(std::min(blockByteCount, bytes.size() - i * blockByteCount));
    const std::size_t chunkBegin = fork.size();
    fork.resize(chunkBegin + block.size() + LZFSE::encodeHeadroom);
    const std::size_t chunkLength = LZFSE::encodeInto(std::span(fork).subspan(chunkBegin), block);
    if (chunkLength == 0) return std::unexpected(EncodeFailed{});
    fork.resize(chunkBegin + chunkLength);
    LittleEndian::store(fork.data() + (i + 1) * sizeof(std::uint32_t), static_cast<std::uint32_t>(fork.size()));
  }
  return fork;
}

ByteBuffer forkOfOneChunk(std::span<const std::uint8_t> chunk) {
  constexpr std::size_t tableLength = tableByteCount(1);
  ByteBuffer fork(tableLength + chunk.size());
  LittleEndian::store(fork.data(), static_cast<std::uint32_t>(tableLength));
  LittleEndian::store(fork.data() + sizeof(std::uint32_t), static_cast<std::uint32_t>(fork.size()));
  std::ranges::copy(chunk, fork.begin() + tableLength);
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
