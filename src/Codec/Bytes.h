// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

// Integers at any address, least significant byte first, and the copies that the decoders' inner loops are made of.
namespace quillbrook::Codec::Bytes {

template <std::unsigned_integral T>
[[nodiscard]] inline T load(const std::uint8_t* from) noexcept {
  T value;
  std::memcpy(&value, from, sizeof value);
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  return value;
}

template <std::unsigned_integral T>
inline void store(std::uint8_t* to, T value) noexcept {
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  std::memcpy(to, &value, sizeof value);
}

// A generous copy moves whole chunks of 16 bytes: it reads and writes up to this many bytes behind what it was asked
// for. Both sides must own them.
inline constexpr std::size_t generousMargin = 32;

inline void copy16(std::uint8_t* to, const std::uint8_t* from) noexcept {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  std::memcpy(&low, from, 8);
  std::memcpy(&high, from + 8, 8);
  std::memcpy(to, &low, 8);
  std::memcpy(to + 8, &high, 8);
}

// Copies at least `count` bytes between places at least 16 bytes apart, in rising order: also from output just written.
inline void copyGenerously(std::uint8_t* to, const std::uint8_t* from, std::size_t count) noexcept {
  const std::uint8_t* const end = to + count;
  do {
    copy16(to, from);
    to += 16;
    from += 16;
  } while (to < end);
}

// Repeats what stands `distance` bytes before `to`, as a match does: a distance below `count` gives a periodic pattern.
inline void repeatGenerously(std::uint8_t* to, std::size_t distance, std::size_t count) noexcept {
  if (distance >= 16) {
    copyGenerously(to, to - distance, count);
    return;
  }
  // The first 16 bytes one by one. From then on the pattern stands far enough back for whole chunks: a distance may be
  // replaced by any multiple of it, and `reach` is the first multiple that is 16 or more.
  const std::uint8_t* from = to - distance;
  for (std::size_t i = 0; i < 16; ++i) to[i] = from[i];
  if (count <= 16) return;
  constexpr std::array<std::uint8_t, 16> reach{0, 16, 16, 18, 16, 20, 18, 21, 16, 18, 20, 22, 24, 26, 28, 30};
  static_assert(generousMargin >= 16 + 15);
  copyGenerously(to + 16, to + 16 - reach[distance], count - 16);
}

}  // namespace quillbrook::Codec::Bytes
