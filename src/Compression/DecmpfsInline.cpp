// SPDX-License-Identifier: MIT
#include "Compression/DecmpfsInline.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "Compression/Header/PayloadLimits.h"
#include "Compression/LZFSE.h"

namespace quillbrook::DecmpfsInline {
namespace {

constexpr std::uint8_t uncompressedV2Prefix = 0xFF;

std::optional<PayloadTooLarge> excess(const ByteBuffer& value) {
  if (value.size() <= maximumValueByteCount) return std::nullopt;
  return PayloadTooLarge{.payloadBytes = static_cast<std::int64_t>(value.size()), .maxBytes = maximumValueByteCount};
}

ByteBuffer beginning(CompressionType type, std::size_t fileByteCount, std::size_t payloadByteCount) {
  const auto header = DecmpfsHeader::encode(type, fileByteCount);
  ByteBuffer value;
  value.reserve(header.size() + payloadByteCount);
  value.assign(header.begin(), header.end());
  return value;
}

// What a header promises, which may be anything, as a signed payload tells it.
std::int64_t promised(std::uint64_t byteCount) {
  constexpr auto largest = std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  return static_cast<std::int64_t>(std::min(byteCount, largest));
}

std::expected<ByteBuffer, DecodeError> storedBytes(std::span<const std::uint8_t> payload, std::uint64_t byteCount) {
  if (payload.size() < byteCount) {
    return std::unexpected(
        TruncatedPayload{.needed = promised(byteCount), .got = static_cast<std::int64_t>(payload.size())});
  }
  const auto bytes = payload.first(byteCount);
  return ByteBuffer(bytes.begin(), bytes.end());
}

}  // namespace

std::expected<ByteBuffer, EncodeError> encodeLZFSE(std::span<const std::uint8_t> bytes) {
  const auto stream = LZFSE::encode(bytes);
  if (!stream) return std::unexpected(stream.error());
  auto value = valueOfStream(*stream, bytes.size());
  if (!value) return std::unexpected(value.error());
  return std::move(*value);
}

std::expected<ByteBuffer, DecmpfsInlineError> valueOfStream(std::span<const std::uint8_t> stream,
                                                            std::size_t fileByteCount) {
  ByteBuffer value = beginning(CompressionType::lzfseAttr, fileByteCount, stream.size());
  value.insert(value.end(), stream.begin(), stream.end());
  if (const auto error = excess(value)) return std::unexpected(*error);
  return value;
}

std::expected<ByteBuffer, DecmpfsInlineError> encodeUncompressedV2(std::span<const std::uint8_t> bytes) {
  ByteBuffer value = beginning(CompressionType::uncompressedAttrV2, bytes.size(), 1 + bytes.size());
  value.push_back(uncompressedV2Prefix);
  value.insert(value.end(), bytes.begin(), bytes.end());
  if (const auto error = excess(value)) return std::unexpected(*error);
  return value;
}

std::expected<ByteBuffer, DecodeError> decode(std::span<const std::uint8_t> value) {
  const auto header = DecmpfsHeader::parse(value);
  if (!header) return std::unexpected(header.error());
  const auto payload = value.subspan(DecmpfsHeader::byteCount);
  switch (header->compressionType) {
    case CompressionType::lzfseAttr: {
      // A damaged header may promise more than there is memory for.
      if (header->uncompressedSize > PayloadLimits::maximumFileByteCount) {
        return std::unexpected(DecodeFailed{.expectedBytes = promised(header->uncompressedSize)});
      }
      auto bytes = LZFSE::decode(payload, header->uncompressedSize);
      if (!bytes) return std::unexpected(bytes.error());
      return std::move(*bytes);
    }
    case CompressionType::uncompressedAttrV2:
      if (payload.empty() || payload.front() != uncompressedV2Prefix) {
        return std::unexpected(MissingUncompressedV2Prefix{});
      }
      return storedBytes(payload.subspan(1), header->uncompressedSize);
    case CompressionType::uncompressedAttr: return storedBytes(payload, header->uncompressedSize);
    default: return std::unexpected(UnsupportedCompressionType{header->compressionType});
  }
}

}  // namespace quillbrook::DecmpfsInline
