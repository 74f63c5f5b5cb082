// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

#include "Platform/Timestamp.h"

namespace quillbrook {

// An instant as the store keeps it: microseconds since 1970-01-01T00:00:00Z, leap seconds left out.
using StoreDate = std::chrono::sys_time<std::chrono::microseconds>;

// Beyond the microsecond it is cut off.
[[nodiscard]] constexpr StoreDate storeDate(Timestamp instant) {
  return StoreDate(std::chrono::seconds(instant.seconds) +
                   std::chrono::floor<std::chrono::microseconds>(std::chrono::nanoseconds(instant.nanoseconds)));
}

[[nodiscard]] constexpr Timestamp timestamp(StoreDate date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
  return {.seconds = seconds.time_since_epoch().count(),
          .nanoseconds = static_cast<std::uint32_t>(std::chrono::nanoseconds(date - seconds).count())};
}

}  // namespace quillbrook
