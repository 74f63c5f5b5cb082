// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// How the kernel serves a handle. While a file has `passthrough` handles the kernel refuses every other mode; `direct`
// ones, for those who only lock the file, go with `cached` ones.
enum class HandleMode : std::uint8_t { cached, passthrough, direct };

// One open handle, as the kernel holds it.
struct Handle {
  bool isWriter = false;
  HandleMode mode = HandleMode::cached;
};

}  // namespace quillbrook
