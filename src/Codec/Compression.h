// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace quillbrook {

// The algorithms that the two operations know; any other value makes them return 0.
enum compression_algorithm : std::uint32_t {  // NOLINT(performance-enum-size): the width belongs to the interface
  COMPRESSION_LZFSE = 0x801,
};

// Writes `source` as one complete stream, with its end marker, and returns the stream's length in bytes. Returns 0 if
// it does not fit into `destination`, if memory is short or if the algorithm is unknown; the content of `destination`
// is unspecified then.
//
// `source.size() + 64` bytes suffice for any content of up to 16 GiB. The two buffers must not overlap. The function
// allocates what it needs for the time of the call and leaves `scratch` alone. Without state; any thread.
std::size_t compression_encode_buffer(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                                      std::span<std::uint8_t> scratch, compression_algorithm algorithm) noexcept;

// Decodes a stream into `destination`, up to its capacity, and returns the number of bytes written:
// - the whole content, for a whole stream that fits;
// - `destination.size()`, for a stream that holds more: what follows in the stream is not looked at;
// - the bytes that could be decoded, for a stream that ends early;
// - 0 for a malformed stream or an unknown algorithm.
//
// Bytes of `destination` behind the returned count are unspecified. The two buffers must not overlap. Allocates
// nothing (some 60 KiB of stack), touches nothing but the two buffers and leaves `scratch` alone. Without state; any
// thread.
std::size_t compression_decode_buffer(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                                      std::span<std::uint8_t> scratch, compression_algorithm algorithm) noexcept;

}  // namespace quillbrook
