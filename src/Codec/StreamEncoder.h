// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Block.h"
#include "Codec/LiteralBuffer.h"
#include "Codec/MatchFinder.h"

namespace quillbrook::Codec::StreamEncoder {

// What an encoder needs besides the caller's buffers. Nothing in it need be initialised: encode() does so as far as the
// source needs it.
struct Workspace {
  MatchFinder finder;
  Block block;
  LiteralBuffer literals;
};

// Writes one stream and returns its length, or 0 if it does not fit.
std::size_t encode(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                   Workspace& workspace) noexcept;

}  // namespace quillbrook::Codec::StreamEncoder
