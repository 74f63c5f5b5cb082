// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/DecodeTarget.h"

namespace quillbrook::Codec::LzfseDecoder {

// Decodes one LZFSE block, with either form of header. `source` goes from the block's magic to the end of the stream;
// `blockBytes` becomes the block's length if the outcome is `complete`. A block whose end is not in `source` gives
// nothing: its bits are read from the end.
DecodeOutcome decode(std::span<const std::uint8_t> source, DecodeTarget& target, std::size_t& blockBytes) noexcept;

}  // namespace quillbrook::Codec::LzfseDecoder
