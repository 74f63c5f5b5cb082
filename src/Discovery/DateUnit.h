// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// What an age is counted in.
enum class DateUnit : std::uint8_t { month, year };

}  // namespace quillbrook
