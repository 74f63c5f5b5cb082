// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>

#include "Compression/ByteBuffer.h"
#include "Compression/LZFSEError.h"

// The engine's only door to the stream codec: whole buffers in, whole buffers out. Stateless; any thread.
namespace quillbrook::LZFSE {

// How much longer than its input an output buffer is made. Input that does not shrink comes back slightly longer,
// and this lets such a stream be produced: the encoded form may be longer than the input.
inline constexpr std::size_t encodeHeadroom = 64;

// One complete stream. Empty input gives empty output.
[[nodiscard]] std::expected<ByteBuffer, LZFSEError> encode(std::span<const std::uint8_t> bytes);

// Exactly `expectedByteCount` bytes, or `decodeFailed`. A stream that holds more is cut there: that the bytes are the
// right ones is established by the callers. Nothing expected gives nothing, and the stream is not looked at.
[[nodiscard]] std::expected<ByteBuffer, LZFSEError> decode(std::span<const std::uint8_t> stream,
                                                           std::size_t expectedByteCount);

// The codec's calls on the caller's buffers; they return its count unchanged, 0 for a failure.
[[nodiscard]] std::size_t encodeInto(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source);
[[nodiscard]] std::size_t decodeInto(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source);

}  // namespace quillbrook::LZFSE
