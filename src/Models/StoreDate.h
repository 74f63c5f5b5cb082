// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

namespace quillbrook {

// An instant as the store keeps it: microseconds since 1970-01-01T00:00:00Z, leap seconds left out.
using StoreDate = std::chrono::sys_time<std::chrono::microseconds>;

}  // namespace quillbrook
