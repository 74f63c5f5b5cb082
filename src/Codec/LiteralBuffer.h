// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

#include "Codec/Bytes.h"
#include "Codec/LzfseFormat.h"

namespace quillbrook::Codec {

// The literals of one LZFSE block in a row, padded to a multiple of four, with room behind them for generous copies.
using LiteralBuffer = std::array<std::uint8_t, LzfseFormat::maxLiterals + Bytes::generousMargin>;

}  // namespace quillbrook::Codec
