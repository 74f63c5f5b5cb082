// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

namespace quillbrook {

// A universally unique identifier (RFC 9562).
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  // Version 4: random but for the bits that say so.
  [[nodiscard]] static UUID random();
  // "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"
  [[nodiscard]] std::string text() const;

  friend auto operator<=>(const UUID&, const UUID&) = default;
};

}  // namespace quillbrook
