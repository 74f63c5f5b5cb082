// SPDX-License-Identifier: MIT
#include "CommandLine/Base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace quillbrook::Base64 {

std::string text(std::string_view bytes) {
  static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string encoded;
  for (std::size_t start = 0; start < bytes.size(); start += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group = group << 8 | (i < count ? static_cast<unsigned char>(bytes[start + i]) : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) encoded += i <= count ? digits[group >> (18 - 6 * i) & 0x3F] : '=';
  }
  return encoded;
}

}  // namespace quillbrook::Base64
