// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace quillbrook::Pattern {

// Text that a compressor can make smaller, different for every (file, offset), so that a byte of the wrong file or from the
// wrong place is noticed. Depends on nothing but its arguments.
inline char byteAt(std::uint64_t file, std::uint64_t offset) {
  constexpr std::string_view words = "the quick brown fox jumps over the lazy dog and runs on\n";
  const std::uint64_t line = offset / words.size();
  const std::size_t column = offset % words.size();
  if (column < 8) {
    std::uint64_t mixed = (file + 1) * 0x9E3779B97F4A7C15U + line * 0xBF58476D1CE4E5B9U;
    mixed ^= mixed >> 31;
    return "0123456789abcdef"[(mixed >> (column * 4)) & 15];
  }
  return words[column];
}

inline std::string bytes(std::uint64_t file, std::uint64_t offset, std::size_t count) {
  std::string result(count, '\0');
  for (std::size_t i = 0; i < count; ++i) result[i] = byteAt(file, offset + i);
  return result;
}

}  // namespace quillbrook::Pattern
