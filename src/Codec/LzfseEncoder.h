// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Block.h"
#include "Codec/LiteralBuffer.h"

namespace quillbrook::Codec::LzfseEncoder {

// Writes the block, which is not empty, and returns its length, or 0 if it does not fit. `sourceEnd` is the end of the
// source that the block's raw bytes lie in. Of `literals` only the memory matters.
std::size_t encode(std::span<std::uint8_t> destination, const Block& block, const std::uint8_t* sourceEnd,
                   LiteralBuffer& literals) noexcept;

}  // namespace quillbrook::Codec::LzfseEncoder
