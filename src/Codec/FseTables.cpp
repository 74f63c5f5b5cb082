// SPDX-License-Identifier: MIT
#include "Codec/FseTables.h"

#include <algorithm>
#include <limits>

namespace quillbrook::Codec::FseTables {

namespace {

// k = log2(states) - floor(log2(frequency)): the larger of the two numbers of bits that a state of the symbol takes.
unsigned largerBits(std::uint32_t states, std::uint32_t frequency) {
  return static_cast<unsigned>(std::bit_width(states) - std::bit_width(frequency));
}

// Calls `emit(delta, bits)` for each state of a symbol, in order. Of the symbol's f states the first j0 read k bits,
// the others k - 1: together they lead to every state exactly once.
template <typename Emit>
void forEachState(std::uint32_t states, std::uint32_t frequency, Emit emit) {
  const unsigned k = largerBits(states, frequency);
  const std::uint32_t j0 = ((2 * states) >> k) - frequency;
  for (std::uint32_t j = 0; j < j0; ++j) emit(((frequency + j) << k) - states, k);
  for (std::uint32_t j = j0; j < frequency; ++j) emit((j - j0) << (k - 1), k - 1);
}

// `first` is the first state that the symbol owns.
SymbolStep symbolStep(std::uint32_t states, std::uint32_t frequency, std::uint32_t first) {
  // A symbol that does not occur is never coded.
  if (frequency == 0) return {0, 0};
  const unsigned k = largerBits(states, frequency);
  // With x < (f << k) the sum stays below k << 16, and above (k - 1) << 16 since f << k is below 2^16.
  // For k = 0 one symbol owns all states, x is never below f << 0, and the sum never below 0.
  return {(k << 16) - (frequency << k),
          static_cast<std::int32_t>(states + first) - static_cast<std::int32_t>(frequency)};
}

}  // namespace

void buildLiteralStates(std::span<LiteralState> table, std::span<const std::uint16_t> frequencies) noexcept {
  const auto states = static_cast<std::uint32_t>(table.size());
  LiteralState* next = table.data();
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    if (frequencies[symbol] == 0) continue;
    forEachState(states, frequencies[symbol], [&](std::uint32_t delta, unsigned bits) {
      *next++ = {static_cast<std::uint16_t>(delta), static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(symbol)};
    });
  }
}

void buildValueStates(std::span<ValueState> table, std::span<const std::uint16_t> frequencies,
                      std::span<const std::uint8_t> extraBits, std::span<const std::uint32_t> bases) noexcept {
  const auto states = static_cast<std::uint32_t>(table.size());
  ValueState* next = table.data();
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    if (frequencies[symbol] == 0) continue;
    forEachState(states, frequencies[symbol], [&](std::uint32_t delta, unsigned bits) {
      *next++ = {static_cast<std::uint16_t>(delta), static_cast<std::uint8_t>(bits + extraBits[symbol]),
                 extraBits[symbol], bases[symbol]};
    });
  }
}

void buildSymbolSteps(std::span<SymbolStep> steps, std::span<const std::uint16_t> frequencies,
                      std::uint32_t states) noexcept {
  std::uint32_t first = 0;
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    steps[symbol] = symbolStep(states, frequencies[symbol], first);
    first += frequencies[symbol];
  }
}

void buildValueSteps(std::span<ValueStep> steps, std::span<const std::uint16_t> frequencies, std::uint32_t states,
                     std::span<const std::uint8_t> extraBits, std::span<const std::uint32_t> bases) noexcept {
  std::uint32_t first = 0;
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    steps[symbol] = {symbolStep(states, frequencies[symbol], first), extraBits[symbol], bases[symbol]};
    first += frequencies[symbol];
  }
}

void normalise(std::span<const std::uint32_t> counts, std::uint32_t states,
               std::span<std::uint16_t> frequencies) noexcept {
  std::uint64_t total = 0;
  for (const std::uint32_t count : counts) total += count;
  if (total == 0) {
    std::ranges::fill(frequencies, std::uint16_t{0});
    frequencies.front() = static_cast<std::uint16_t>(states);
    return;
  }
  std::int64_t surplus = -static_cast<std::int64_t>(states);
  for (std::size_t s = 0; s < counts.size(); ++s) {
    const std::uint64_t rounded = (std::uint64_t{counts[s]} * states + total / 2) / total;
    frequencies[s] = counts[s] == 0 ? 0 : static_cast<std::uint16_t>(std::max<std::uint64_t>(rounded, 1));
    surplus += frequencies[s];
  }
  // Correct the sum one state at a time, where it costs least or gains most. A symbol with count c and frequency f
  // costs c * log2(N / f) bits, so a step of one changes that by nearly c / (f -+ 1/2) / ln 2.
  for (; surplus > 0; --surplus) {
    std::size_t best = 0;
    float least = std::numeric_limits<float>::infinity();
    for (std::size_t s = 0; s < counts.size(); ++s) {
      if (frequencies[s] < 2) continue;
      const float loss = static_cast<float>(counts[s]) / (static_cast<float>(frequencies[s]) - 0.5F);
      if (loss < least) {
        least = loss;
        best = s;
      }
    }
    --frequencies[best];
  }
  for (; surplus < 0; ++surplus) {
    std::size_t best = 0;
    float most = -1;
    for (std::size_t s = 0; s < counts.size(); ++s) {
      const float gain = static_cast<float>(counts[s]) / (static_cast<float>(frequencies[s]) + 0.5F);
      if (gain > most) {
        most = gain;
        best = s;
      }
    }
    ++frequencies[best];
  }
}

}  // namespace quillbrook::Codec::FseTables
