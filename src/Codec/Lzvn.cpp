// SPDX-License-Identifier: MIT
#include "Codec/Lzvn.h"

#include "Codec/DecodeTarget.h"
#include "Codec/LzvnDecoder.h"

namespace quillbrook::Lzvn {

std::size_t decode(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source) noexcept {
  std::uint8_t* const begin = destination.data();
  Codec::DecodeTarget target{begin, begin, begin + destination.size()};
  const Codec::DecodeOutcome outcome = Codec::LzvnDecoder::decode(source, target);
  // A full destination ends with its capacity, whatever the opcodes behind are like.
  if (outcome == Codec::DecodeOutcome::malformed && target.room() != 0) return 0;
  return target.written();
}

}  // namespace quillbrook::Lzvn
