// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string_view>
#include <vector>

#include "Compression/Header/LittleEndian.h"

namespace quillbrook::TestData {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytes(std::string_view text) {
  return {text.begin(), text.end()};
}

// Does not shrink. The same on every run.
inline Bytes noise(std::size_t count) {
  std::minstd_rand generator(20'240'229);
  Bytes result(count);
  for (auto& byte : result) byte = static_cast<std::uint8_t>(generator() >> 16);
  return result;
}

// Shrinks to about a third, and differs from place to place.
inline Bytes text(std::size_t count) {
  std::minstd_rand generator(7);
  constexpr std::string_view words[]{"the ", "file ", "keeps ", "its ", "name, ", "place ", "and ", "contents\n"};
  Bytes result;
  while (result.size() < count) {
    const std::string_view word = words[generator() / 64 % 8];
    result.insert(result.end(), word.begin(), word.end());
    result.push_back(static_cast<std::uint8_t>('a' + generator() / 64 % 26));
  }
  result.resize(count);
  return result;
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
