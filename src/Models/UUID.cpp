// SPDX-License-Identifier: MIT
#include "Models/UUID.h"

#include <fmt/format.h>

#include <cstddef>
#include <iterator>
#include <random>

namespace quillbrook {

UUID UUID::random() {
  UUID uuid;
  std::random_device source;
  std::uniform_int_distribution<unsigned> byte(0, 0xFF);
  for (auto& value : uuid.bytes) value = static_cast<std::uint8_t>(byte(source));
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);  // version 4
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);  // the variant of the standard
  return uuid;
}

std::string UUID::text() const {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    fmt::format_to(std::back_inserter(text), "{:02X}", bytes[i]);
  }
  return text;
}

}  // namespace quillbrook
