// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/BitReader.h"
#include "Codec/BitWriter.h"

// Finite state entropy, the table-driven form of asymmetric numeral systems. A table has N states, a power of two, and
// a symbol s with frequency f owns f consecutive ones, in the order of the symbols.
namespace quillbrook::Codec::FseTables {

// What a decoder does in one state: give out the symbol and go to state `delta` + the next `bits` bits.
struct LiteralState {
  std::uint16_t delta;
  std::uint8_t bits;
  std::uint8_t symbol;
};

// The same for L, M and D. The value's extra bits lie directly below the state's, so one read of `bits` gives both.
struct ValueState {
  std::uint16_t delta;
  std::uint8_t bits;  // state bits and extra bits
  std::uint8_t extraBits;
  std::uint32_t base;  // of the value
};

// An encoder's view of one symbol. An encoder keeps a state as x = N + state, so x is in N...2N-1, and for a symbol
// - writes the low n = (x + bitsBias) >> 16 bits of x. With k = log2(N) - floor(log2(f)) that is k from the first x on
//   whose high bits, after a shift by k, reach f; below it is k - 1;
// - goes to x = (x >> n) + stateBias.
struct SymbolStep {
  std::uint32_t bitsBias;
  std::int32_t stateBias;
};

struct ValueStep {
  SymbolStep step;
  std::uint32_t extraBits;
  std::uint32_t base;
};

// The frequencies add up to the number of states, which is the size of `table`, or are all zero: then nothing is built.
void buildLiteralStates(std::span<LiteralState> table, std::span<const std::uint16_t> frequencies) noexcept;
void buildValueStates(std::span<ValueState> table, std::span<const std::uint16_t> frequencies,
                      std::span<const std::uint8_t> extraBits, std::span<const std::uint32_t> bases) noexcept;
void buildSymbolSteps(std::span<SymbolStep> steps, std::span<const std::uint16_t> frequencies,
                      std::uint32_t states) noexcept;
void buildValueSteps(std::span<ValueStep> steps, std::span<const std::uint16_t> frequencies, std::uint32_t states,
                     std::span<const std::uint8_t> extraBits, std::span<const std::uint32_t> bases) noexcept;

// Scales counts to frequencies that add up to `states`, with at least 1 for each symbol that occurs, so that the coded
// length comes out near its minimum. No more than `states` counts are not 0; where all are, the first symbol gets all
// states, as a table always adds up to them.
void normalise(std::span<const std::uint32_t> counts, std::uint32_t states,
               std::span<std::uint16_t> frequencies) noexcept;

inline std::uint8_t decodeLiteral(const LiteralState* table, std::uint32_t& state, BitReader& bits) noexcept {
  const LiteralState entry = table[state];
  state = entry.delta + static_cast<std::uint32_t>(bits.take(entry.bits));
  return entry.symbol;
}

inline std::uint32_t decodeValue(const ValueState* table, std::uint32_t& state, BitReader& bits) noexcept {
  const ValueState entry = table[state];
  const auto taken = static_cast<std::uint32_t>(bits.take(entry.bits));
  state = entry.delta + (taken >> entry.extraBits);
  return entry.base + (taken & ((1U << entry.extraBits) - 1));
}

inline void encodeSymbol(const SymbolStep& step, std::uint32_t& x, BitWriter& bits) noexcept {
  const std::uint32_t n = (x + step.bitsBias) >> 16;
  bits.add(x & ((1U << n) - 1), n);
  x = static_cast<std::uint32_t>(static_cast<std::int32_t>(x >> n) + step.stateBias);
}

inline void encodeValue(const ValueStep& value, std::uint32_t plain, std::uint32_t& x, BitWriter& bits) noexcept {
  bits.add(plain - value.base, value.extraBits);
  encodeSymbol(value.step, x, bits);
}

}  // namespace quillbrook::Codec::FseTables
