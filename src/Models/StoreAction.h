// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// What was being done with the store when it failed.
enum class StoreAction : std::uint8_t { open, read, save };

}  // namespace quillbrook
