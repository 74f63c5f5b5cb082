// SPDX-License-Identifier: MIT
#include "Compression/LZFSE.h"

#include "Codec/Compression.h"

namespace quillbrook::LZFSE {
namespace {

// Both calls of the codec have one shape. No scratch memory is lent, so that nothing is shared between workers.
using CodecCall = decltype(&compression_encode_buffer);

std::size_t run(CodecCall call, std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) {
  return call(destination, source, {}, COMPRESSION_LZFSE);
}

}  // namespace

std::size_t encodeInto(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) {
  return run(compression_encode_buffer, destination, source);
}

std::size_t decodeInto(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) {
  return run(compression_decode_buffer, destination, source);
}

std::expected<ByteBuffer, LZFSEError> encode(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return ByteBuffer{};
  ByteBuffer stream(bytes.size() + encodeHeadroom);
  const std::size_t count = encodeInto(stream, bytes);
  if (count == 0) return std::unexpected(EncodeFailed{});
  stream.resize(count);
  return stream;
}

std::expected<ByteBuffer, LZFSEError> decode(std::span<const std::uint8_t> stream, std::size_t expectedByteCount) {
  ByteBuffer bytes(expectedByteCount);
  if (expectedByteCount == 0) return bytes;
  const std::size_t count = decodeInto(bytes, stream);
  if (count != expectedByteCount) {
    return std::unexpected(DecodeFailed{.expectedBytes = static_cast<std::int64_t>(expectedByteCount),
                                        .gotBytes = static_cast<std::int64_t>(count)});
  }
  return bytes;
}

}  // namespace quillbrook::LZFSE
