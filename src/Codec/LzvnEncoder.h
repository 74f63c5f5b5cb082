// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Block.h"

namespace quillbrook::Codec::LzvnEncoder {

// Bytes that the block's opcodes take at least, without writing them.
std::size_t leastBytes(const Block& block) noexcept;

// Writes the block as opcodes with their end and returns their length, or 0 if they do not fit.
std::size_t encode(std::span<std::uint8_t> destination, const Block& block) noexcept;

}  // namespace quillbrook::Codec::LzvnEncoder
