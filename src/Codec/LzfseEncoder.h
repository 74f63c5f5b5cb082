// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Block.h"
#include "Codec/Bytes.h"

namespace quillbrook::Codec::LzfseEncoder {

// The block's literals in a row, padded to a multiple of four, with room behind them for generous copies.
using LiteralBuffer = std::array<std::uint8_t, LzfseFormat::maxLiterals + Bytes::generousMargin>;

// Writes the block, which is not empty, and returns its length, or 0 if it does not fit. `sourceEnd` is the end of the
// source that the block's raw bytes lie in. Of `literals` only the memory matters.
std::size_t encode(std::span<std::uint8_t> destination, const Block& block, const std::uint8_t* sourceEnd,
                   LiteralBuffer& literals) noexcept;

}  // namespace quillbrook::Codec::LzfseEncoder
