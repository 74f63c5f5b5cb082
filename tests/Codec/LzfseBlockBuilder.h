// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "Codec/GeneratedContent.h"

namespace quillbrook {

// Builds LZFSE blocks bit by bit from the format's definition, sharing nothing with the codec. Fill in literals,
// triples and the raw length, call encode(), change what a test wants to be wrong, and take the bytes.
struct LzfseBlockBuilder {
  struct Triple {
    unsigned l, m, d;
  };
  struct Table {
    unsigned first, symbols, states;  // `first` is its place in `frequencies`
  };
  static constexpr Table l{0, 20, 64}, m{20, 20, 64}, d{40, 64, 256}, literal{104, 256, 1024};

  ByteVector literals{};
  std::vector<Triple> triples{};
  std::uint32_t rawBytes = 0;

  // Set by encode(), the frequencies only if they are all zero: then symbols that occur get 1, the first of them the
  // rest.
  std::array<std::uint16_t, 360> frequencies{};
  std::uint32_t literalCount = 0;
  std::uint32_t matchCount = 0;
  ByteVector literalPayload{};
  ByteVector lmdPayload{};
  unsigned literalUnusedBits = 0;
  unsigned lmdUnusedBits = 0;
  std::array<unsigned, 4> literalStates{};
  std::array<unsigned, 3> lmdStates{};

  void encode();
  [[nodiscard]] ByteVector packed() const;  // bvx2
  [[nodiscard]] ByteVector plain() const;   // bvx1

  // The symbol of a value, with the base and the number of extra bits.
  struct Symbol {
    unsigned index, base, extraBits;
  };
  static Symbol symbolOf(const Table& table, unsigned value);
};

// Appends little-endian bytes.
void appendNumber(ByteVector& bytes, std::uint64_t value, unsigned count);
ByteVector operator+(ByteVector left, const ByteVector& right);

ByteVector storedBlock(std::string_view text);
ByteVector lzvnBlock(std::uint32_t rawBytes, const ByteVector& opcodes);
ByteVector endMarker();

}  // namespace quillbrook
