// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

#include "Codec/DecodeTarget.h"

namespace quillbrook::Codec::LzvnDecoder {

// Carries out opcodes until their end (`complete`), the end of `payload` (`inputEnded`) or until more would be written
// than the target has room for (`full`).
DecodeOutcome decode(std::span<const std::uint8_t> payload, DecodeTarget& target) noexcept;

}  // namespace quillbrook::Codec::LzvnDecoder
