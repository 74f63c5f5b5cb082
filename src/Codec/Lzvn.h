// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Bare LZVN: opcodes up to and including their end opcode, with no block header around them.
namespace quillbrook::Lzvn {

// Decodes opcodes into `destination`, up to its capacity, and returns the number of bytes written: all that the
// opcodes hold, the capacity if they hold more, what could be decoded if `source` ends before the end opcode, and 0 if
// they are malformed. What follows the end opcode is not looked at, nor are the bytes of `destination` behind the
// count specified. Allocates nothing, touches nothing but the two buffers; they must not overlap. Any thread.
std::size_t decode(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) noexcept;

}  // namespace quillbrook::Lzvn
