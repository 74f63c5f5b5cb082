// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

#include "Codec/DecodeTarget.h"

namespace quillbrook::Codec::StreamDecoder {

// Decodes the blocks of a stream up to the end marker, the end of `source` or the end of the target.
DecodeOutcome decode(std::span<const std::uint8_t> source, DecodeTarget& target) noexcept;

}  // namespace quillbrook::Codec::StreamDecoder
