// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "Codec/Compression.h"

// Bytes, and the streams that the codec makes of them and back. A buffer has exactly the size that is asked for, so
// that the address sanitizer sees the first byte too far on either side.
namespace quillbrook::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

inline Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline Bytes prefix(const Bytes& bytes, std::size_t count) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size()))};
}

inline Bytes littleEndian(std::uint64_t value, unsigned count = 4) {
  Bytes bytes(count);
  for (unsigned i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
  return bytes;
}

inline Bytes bigEndian(std::uint64_t value, unsigned count = 4) {
  Bytes bytes = littleEndian(value, count);
  std::ranges::reverse(bytes);
  return bytes;
}

// A stream within the 64 bytes that callers leave beyond the content, or nothing if it does not fit.
inline Bytes encoded(const Bytes& content) {
  const Bytes source(content.begin(), content.end());
  Bytes stream(content.size() + 64);
  stream.resize(compression_encode_buffer(stream, source, {}, COMPRESSION_LZFSE));
  return stream;
}

inline Bytes decoded(const Bytes& stream, std::size_t capacity) {
  const Bytes source(stream.begin(), stream.end());
  Bytes content(capacity);
  content.resize(compression_decode_buffer(content, source, {}, COMPRESSION_LZFSE));
  return content;
}

inline Bytes endMarker() {
  return bytesOf("bvx$");
}

inline Bytes storedBlock(const Bytes& content) {
  return bytesOf("bvx-") + littleEndian(content.size()) + content;
}

inline Bytes lzvnBlock(std::uint32_t rawBytes, const Bytes& opcodes) {
  return bytesOf("bvxn") + littleEndian(rawBytes) + littleEndian(opcodes.size()) + opcodes;
}

}  // namespace quillbrook::test
