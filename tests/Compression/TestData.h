// SPDX-License-Identifier: MIT
#pragma once

#include "Codec/GeneratedContent.h"

namespace quillbrook::test {

// Does not shrink.
inline Bytes noise(std::size_t count) {
  return randomBytes(count);
}

inline Bytes littleEndian(std::initializer_list<std::uint32_t> values) {
  Bytes result;
  for (const std::uint32_t value : values) result = std::move(result) + littleEndian(value);
  return result;
}

// The head of the attribute com.apple.decmpfs.
inline Bytes header(std::uint32_t type, std::uint32_t size) {
  return littleEndian({0x636D7066, type, size, 0});
}

}  // namespace quillbrook::test
