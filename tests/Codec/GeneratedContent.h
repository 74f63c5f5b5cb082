// SPDX-License-Identifier: MIT
#pragma once

#include "Codec/Streams.h"
#include "Support/Prelude.h"

// Content with a known nature; the same on every run and, as no distribution is used, with every standard library.
namespace quillbrook::test {

inline std::mt19937 generator(unsigned seed) {
  return std::mt19937(seed);
}

// Of only some values: entropy coding gains, matches do not.
inline Bytes randomBytes(std::size_t size, unsigned values = 256, unsigned seed = 1) {
  auto random = generator(seed);
  Bytes bytes(size);
  std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random() % 256 % values); });
  return bytes;
}

// Words of a small vocabulary, the first ones preferred, as in a text.
inline Bytes text(std::size_t size, unsigned seed = 1) {
  auto random = generator(seed);
  Bytes bytes;
  while (bytes.size() < size) {
    const auto choices = 1 + random() % 200;
    const auto word = (1 + random() % choices) * 0x9E37'79B1U;
    for (unsigned i = 0; i < 3 + word % 7; ++i) bytes.push_back(static_cast<std::uint8_t>('a' + (word >> 3 * i) % 26));
    bytes.push_back(' ');
  }
  return prefix(bytes, size);
}

// A random pattern of `period` bytes, over and over.
inline Bytes periodic(std::size_t period, std::size_t size) {
  Bytes bytes = randomBytes(size);
  for (std::size_t i = period; i < size; ++i) bytes[i] = bytes[i - period];
  return bytes;
}

// Four bytes that occurred before, one that is random, and so on: as many matches as there can be.
inline Bytes manyMatches(std::size_t size) {
  const Bytes vocabulary = randomBytes(256);
  Bytes bytes = randomBytes(size, 256, 2);
  for (std::size_t i = 0; i + 4 < size; i += 5) std::copy_n(&vocabulary[bytes[i] & 0xFCU], 4, &bytes[i]);
  return bytes;
}

// Incompressible and empty stretches in turn.
inline Bytes alternating(std::size_t stretch, std::size_t size) {
  Bytes bytes = randomBytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = i / stretch % 2 == 1 ? 0 : bytes[i];
  return bytes;
}

}  // namespace quillbrook::test
