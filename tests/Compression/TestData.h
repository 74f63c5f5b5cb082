// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string_view>
#include <vector>

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

}  // namespace quillbrook::TestData
