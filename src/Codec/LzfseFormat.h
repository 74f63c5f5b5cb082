// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The numbers of the LZFSE stream format.
namespace quillbrook::Codec::LzfseFormat {

// The four bytes in front of each block, as a little-endian number.
constexpr std::uint32_t magic(std::string_view text) {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < 4; ++i) value |= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i])) << (8 * i);
  return value;
}
inline constexpr std::uint32_t storedMagic = magic("bvx-");
inline constexpr std::uint32_t lzvnMagic = magic("bvxn");
inline constexpr std::uint32_t plainLzfseMagic = magic("bvx1");
inline constexpr std::uint32_t packedLzfseMagic = magic("bvx2");
inline constexpr std::uint32_t endMagic = magic("bvx$");

inline constexpr std::size_t magicBytes = 4;
inline constexpr std::size_t storedHeaderBytes = 8;  // magic, bytes
inline constexpr std::size_t lzvnHeaderBytes = 12;   // magic, bytes, payload bytes

// What one LZFSE block may hold at most.
inline constexpr std::size_t maxLiterals = 40'000;
inline constexpr std::size_t maxMatches = 10'000;
static_assert(maxLiterals % 4 == 0, "the padding to groups of four must not pass the limit");

// L: literals before a match. M: length of a match. D: its distance. Each is a symbol and extra bits.
inline constexpr std::size_t lSymbols = 20;
inline constexpr std::size_t mSymbols = 20;
inline constexpr std::size_t dSymbols = 64;
inline constexpr std::size_t literalSymbols = 256;
inline constexpr std::size_t allSymbols = lSymbols + mSymbols + dSymbols + literalSymbols;

// States of the four tables. The frequencies of a table add up to its states.
inline constexpr std::size_t lStates = 64;
inline constexpr std::size_t mStates = 64;
inline constexpr std::size_t dStates = 256;
inline constexpr std::size_t literalStates = 1024;

// Zero bytes that begin the L/M/D payload.
inline constexpr std::size_t lmdLeadingBytes = 8;

template <std::size_t Symbols>
struct ValueCode {
  std::array<std::uint8_t, Symbols> extraBits;
  std::array<std::uint32_t, Symbols> base;

  [[nodiscard]] constexpr std::uint32_t largest() const {
    return base[Symbols - 1] + (std::uint32_t{1} << extraBits[Symbols - 1]) - 1;
  }
};

// Each symbol's values begin where those of the one before end.
template <std::size_t Symbols>
constexpr ValueCode<Symbols> valueCode(const std::array<std::uint8_t, Symbols>& extraBits) {
  ValueCode<Symbols> code{extraBits, {}};
  for (std::size_t s = 1; s < Symbols; ++s) {
    code.base[s] = code.base[s - 1] + (std::uint32_t{1} << code.extraBits[s - 1]);
  }
  return code;
}

inline constexpr auto lCode = valueCode<lSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 3, 5, 8});
inline constexpr auto mCode = valueCode<mSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 5, 8, 11});
inline constexpr auto dCode = [] {
  std::array<std::uint8_t, dSymbols> extraBits{};
  for (std::size_t s = 0; s < dSymbols; ++s) extraBits[s] = static_cast<std::uint8_t>(s / 4);
  return valueCode<dSymbols>(extraBits);
}();

inline constexpr std::uint32_t maxL = lCode.largest();
inline constexpr std::uint32_t maxM = mCode.largest();
inline constexpr std::uint32_t maxD = dCode.largest();
static_assert(maxL == 315 && maxM == 2'359 && maxD == 262'139);

// Most bits that one symbol of a table takes: its state bits and its extra bits.
inline constexpr unsigned maxLiteralBits = std::countr_zero(literalStates);
inline constexpr unsigned maxTripleBits = static_cast<unsigned>(std::countr_zero(lStates)) + lCode.extraBits.back() +
                                          static_cast<unsigned>(std::countr_zero(mStates)) + mCode.extraBits.back() +
                                          static_cast<unsigned>(std::countr_zero(dStates)) + dCode.extraBits.back();
static_assert(maxTripleBits == 54);

// Symbol of each value, for L and M.
template <std::uint32_t Largest, std::size_t Symbols>
constexpr std::array<std::uint8_t, Largest + 1> symbolsOfValues(const ValueCode<Symbols>& code) {
  std::array<std::uint8_t, Largest + 1> symbols{};
  std::size_t symbol = 0;
  for (std::uint32_t value = 0; value <= Largest; ++value) {
    if (symbol + 1 < Symbols && value == code.base[symbol + 1]) ++symbol;
    symbols[value] = static_cast<std::uint8_t>(symbol);
  }
  return symbols;
}
inline constexpr auto lSymbolOf = symbolsOfValues<maxL>(lCode);
inline constexpr auto mSymbolOf = symbolsOfValues<maxM>(mCode);

// Four symbols share a number e of extra bits and cover the distances from 4 * 2^e - 4 to 8 * 2^e - 5: with 4 added,
// the position of the highest bit tells e, and the two bits below it which of the four.
constexpr std::uint32_t dSymbolOf(std::uint32_t distance) {
  const std::uint32_t shifted = distance + 4;
  const std::uint32_t e = static_cast<std::uint32_t>(std::bit_width(shifted)) - 3;
  return 4 * e + (shifted >> e) - 4;
}
static_assert([] {
  for (std::uint32_t s = 0; s < dSymbols; ++s) {
    if (dSymbolOf(dCode.base[s]) != s) return false;
    if (dSymbolOf(dCode.base[s] + (std::uint32_t{1} << dCode.extraBits[s]) - 1) != s) return false;
  }
  return true;
}());

}  // namespace quillbrook::Codec::LzfseFormat
