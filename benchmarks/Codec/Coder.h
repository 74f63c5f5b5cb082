// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace quillbrook {

// One way to compress a block and to get it back. What a coder can keep between blocks (contexts, scratch memory) is
// made with the coder, outside the time that is taken. One thread at a time.
struct Coder {
  std::string name;
  // Times each input is encoded, the fastest of which counts. Several where a goal hangs on the speed; more would make
  // the run longer, fewer would let the machine's moods decide.
  int encodeRounds = 1;
  // Both return the number of bytes written, 0 for a failure.
  std::function<std::size_t(std::span<std::uint8_t> to, std::span<const std::uint8_t> from)> encode;
  std::function<std::size_t(std::span<std::uint8_t> to, std::span<const std::uint8_t> from)> decode;
};

}  // namespace quillbrook
