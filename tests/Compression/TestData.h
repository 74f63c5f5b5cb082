// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "Platform/LittleEndian.h"
#include "support/ScratchFolder.h"

namespace quillbrook::TestData {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytes(std::string_view text) {
  return {text.begin(), text.end()};
}

// Does not shrink. The same on every run.
inline Bytes noise(std::size_t count) {
  std::uint32_t state = 20'240'229;
  Bytes result(count);
  for (auto& byte : result) byte = static_cast<std::uint8_t>((state = state * 1'664'525 + 1'013'904'223) >> 24U);
  return result;
}

// Shrinks to less than a half, and differs from place to place.
inline Bytes text(std::size_t count) {
  return bytes(ScratchFolder::prose(count));
}

inline Bytes concatenated(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

inline Bytes littleEndian(std::initializer_list<std::uint32_t> values) {
  Bytes result(values.size() * 4);
  std::size_t offset = 0;
  for (const std::uint32_t value : values) LittleEndian::store(result.data() + 4 * offset++, value);
  return result;
}

// The head of the attribute com.apple.decmpfs.
inline Bytes header(std::uint32_t type, std::uint32_t size) {
  return littleEndian({0x636D7066, type, size, 0});
}

}  // namespace quillbrook::TestData
