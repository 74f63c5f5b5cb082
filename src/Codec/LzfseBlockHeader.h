// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/DecodeTarget.h"
#include "Codec/LzfseFormat.h"

namespace quillbrook::Codec {

// The header of an LZFSE block in either of its two forms. The literal payload and the L/M/D payload follow it.
struct LzfseBlockHeader {
  std::uint32_t rawBytes;  // what the block decodes to
  std::uint32_t literals;  // a multiple of 4
  std::uint32_t matches;
  std::uint32_t literalPayloadBytes;
  std::uint32_t lmdPayloadBytes;
  std::uint32_t literalUnusedBits;  // 0...7, zero bits on top of the payload's last byte
  std::uint32_t lmdUnusedBits;
  std::array<std::uint16_t, 4> literalStates;  // the states that a decoder begins with
  std::uint16_t lState;
  std::uint16_t mState;
  std::uint16_t dState;

  std::array<std::uint16_t, LzfseFormat::lSymbols> lFrequencies;
  std::array<std::uint16_t, LzfseFormat::mSymbols> mFrequencies;
  std::array<std::uint16_t, LzfseFormat::dSymbols> dFrequencies;
  std::array<std::uint16_t, LzfseFormat::literalSymbols> literalFrequencies;

  // Bytes of the packed form without its frequency tables.
  static constexpr std::size_t packedFixedBytes = 32;
  // The same with the largest tables: 14 bits a value.
  static constexpr std::size_t packedMaxBytes = packedFixedBytes + (LzfseFormat::allSymbols * 14 + 7) / 8;
  // Bytes of the plain form.
  static constexpr std::size_t plainBytes = 770;

  // Both readers take a block from its magic on and set `headerBytes` to the header's length. `complete` guarantees
  // that the header lies in the block, counts are within the format's limits, states within their tables, and that the
  // frequencies of each table add up to its states, or are all zero where there is nothing to decode. Whether the
  // payloads lie in the block is left to the caller. Frequency values are only there if the outcome is `complete`.
  DecodeOutcome readPacked(std::span<const std::uint8_t> block, std::size_t& headerBytes) noexcept;
  DecodeOutcome readPlain(std::span<const std::uint8_t> block, std::size_t& headerBytes) noexcept;

  // Length of the packed form, at most packedMaxBytes; the frequencies alone decide it.
  [[nodiscard]] std::size_t packedBytes() const noexcept;
  void writePacked(std::uint8_t* to) const noexcept;

 private:
  [[nodiscard]] bool isConsistent() const noexcept;
};

}  // namespace quillbrook::Codec
