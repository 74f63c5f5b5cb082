// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>

namespace quillbrook {

// Seconds since 1970-01-01T00:00:00Z and the nanoseconds of the second, 0 to 999,999,999.
struct Timestamp {
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0;

  [[nodiscard]] static Timestamp now();

  friend auto operator<=>(const Timestamp&, const Timestamp&) = default;
};

}  // namespace quillbrook
