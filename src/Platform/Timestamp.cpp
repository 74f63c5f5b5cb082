// SPDX-License-Identifier: MIT
#include "Platform/Timestamp.h"

#include <chrono>

namespace quillbrook {

Timestamp Timestamp::now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  return {.seconds = seconds.count(),
          .nanoseconds = static_cast<std::uint32_t>(std::chrono::nanoseconds(now - seconds).count())};
}

}  // namespace quillbrook
