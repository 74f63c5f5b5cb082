// SPDX-License-Identifier: MIT
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace quillbrook::LittleEndian {

// Integers at any address, least significant byte first, whatever the host. `T` is an unsigned integer.
template <std::unsigned_integral T>
[[nodiscard]] inline T load(const std::uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  return value;
}

template <std::unsigned_integral T>
inline void store(std::uint8_t* bytes, T value) {
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  std::memcpy(bytes, &value, sizeof value);
}

}  // namespace quillbrook::LittleEndian
