// SPDX-License-Identifier: MIT
#pragma once

#include "Codec/Streams.h"
#include "Support/Prelude.h"

namespace quillbrook::test {

// Builds LZFSE blocks bit by bit from the format's definition, sharing nothing with the codec. Begin with of(), change
// what a test wants to be wrong, and take the bytes.
struct LzfseBlockBuilder {
  struct Triple {
    unsigned l, m, d;
  };
  struct Table {
    unsigned first, symbols, states;  // `first` is its place in `frequencies`
  };
  static constexpr Table l{0, 20, 64}, m{20, 20, 64}, d{40, 64, 256}, literal{104, 256, 1024};

  Bytes literals;
  std::vector<Triple> triples;
  std::size_t rawBytes = 0;

  // Set by encode(), the frequencies of a table only if they are all zero: then symbols that occur get 1, the first of
  // them the rest.
  std::array<std::uint16_t, 360> frequencies{};
  std::size_t literalCount = 0;
  std::size_t matchCount = 0;
  Bytes literalPayload;
  Bytes lmdPayload;
  std::size_t literalUnusedBits = 0;
  std::size_t lmdUnusedBits = 0;
  std::array<unsigned, 4> literalStates{};
  std::array<unsigned, 3> lmdStates{};

  static LzfseBlockBuilder of(std::string_view literals, std::vector<Triple> triples, std::size_t rawBytes) {
    LzfseBlockBuilder block;
    block.literals = bytesOf(literals);
    block.triples = std::move(triples);
    block.rawBytes = rawBytes;
    block.encode();
    return block;
  }

  // The symbol of a value, with the base and the number of extra bits.
  struct Symbol {
    unsigned index, base, extraBits;
  };
  static Symbol symbolOf(const Table& table, unsigned value) {
    constexpr std::array<unsigned, 4> lExtra{2, 3, 5, 8};
    constexpr std::array<unsigned, 4> mExtra{3, 5, 8, 11};
    Symbol symbol{.index = 0, .base = 0, .extraBits = 0};
    for (;; symbol.base += 1U << symbol.extraBits, ++symbol.index) {
      if (table.symbols == d.symbols) {
        symbol.extraBits = symbol.index / 4;
      } else if (symbol.index >= 16) {
        symbol.extraBits = (table.first == l.first ? lExtra : mExtra).at(symbol.index - 16);
      }
      if (value < symbol.base + (1U << symbol.extraBits)) return symbol;
    }
  }

  void encode() {
    while (literals.size() % 4 != 0) literals.push_back(0);
    literalCount = literals.size();
    matchCount = triples.size();
    std::array<std::vector<unsigned>, 3> lmd;
    for (const Triple& triple : triples) {
      lmd[0].push_back(symbolOf(l, triple.l).index);
      lmd[1].push_back(symbolOf(m, triple.m).index);
      lmd[2].push_back(symbolOf(d, triple.d).index);
    }
    countSymbols(l, lmd[0]);
    countSymbols(m, lmd[1]);
    countSymbols(d, lmd[2]);
    countSymbols(literal, {literals.begin(), literals.end()});

    Bits bits;
    literalStates = {};
    for (std::size_t i = literals.size(); i-- != 0;) step(literal, literals[i], literalStates[i % 4], bits);
    literalPayload = packed(bits);
    literalUnusedBits = literalPayload.size() * 8 - bits.size();

    bits.assign(64, false);
    lmdStates = {};
    for (std::size_t i = triples.size(); i-- != 0;) {
      const auto value = [&](const Table& table, unsigned plain, unsigned& state) {
        const Symbol symbol = symbolOf(table, plain);
        append(bits, plain - symbol.base, symbol.extraBits);
        step(table, symbol.index, state, bits);
      };
      value(d, triples[i].d, lmdStates[2]);
      value(m, triples[i].m, lmdStates[1]);
      value(l, triples[i].l, lmdStates[0]);
    }
    lmdPayload = packed(bits);
    lmdUnusedBits = lmdPayload.size() * 8 - bits.size();
  }

  [[nodiscard]] Bytes packed() const {  // bvx2
    Bits codes;
    for (const unsigned f : frequencies) {
      const auto [code, count] = frequencyCode(f);
      append(codes, code, count);
    }
    const Bytes tables = packed(codes);
    Bits fields;
    const std::initializer_list<std::pair<std::size_t, unsigned>> values{
        {literalCount, 20},      {literalPayload.size(), 20}, {matchCount, 20},         {7 - literalUnusedBits, 4},
        {literalStates[0], 10},  {literalStates[1], 10},      {literalStates[2], 10},   {literalStates[3], 10},
        {lmdPayload.size(), 20}, {7 - lmdUnusedBits, 4},      {32 + tables.size(), 32}, {lmdStates[0], 10},
        {lmdStates[1], 10},      {lmdStates[2], 12}};
    for (const auto& [value, count] : values) append(fields, value, count);
    return bytesOf("bvx2") + littleEndian(rawBytes) + packed(fields) + tables + literalPayload + lmdPayload;
  }

  [[nodiscard]] Bytes plain() const {  // bvx1
    Bytes block = bytesOf("bvx1");
    for (const std::size_t value : {rawBytes, literalPayload.size() + lmdPayload.size(), literalCount, matchCount,
                                    literalPayload.size(), lmdPayload.size(), 0 - literalUnusedBits}) {
      block = block + littleEndian(value);
    }
    for (const unsigned state : literalStates) block = block + littleEndian(state, 2);
    block = block + littleEndian(0 - lmdUnusedBits);
    for (const unsigned state : lmdStates) block = block + littleEndian(state, 2);
    for (const unsigned frequency : frequencies) block = block + littleEndian(frequency, 2);
    return block + literalPayload + lmdPayload;
  }

 private:
  using Bits = std::vector<bool>;

  static void append(Bits& bits, std::uint64_t value, unsigned count) {
    for (unsigned i = 0; i < count; ++i) bits.push_back((value >> i & 1) != 0);
  }

  static Bytes packed(const Bits& bits) {
    Bytes bytes((bits.size() + 7) / 8);
    for (std::size_t i = 0; i < bits.size(); ++i)
      bytes[i / 8] |= static_cast<std::uint8_t>((bits[i] ? 1U : 0U) << i % 8);
    return bytes;
  }

  static std::pair<unsigned, unsigned> frequencyCode(unsigned f) {
    constexpr std::array<std::pair<unsigned, unsigned>, 4> least{{{0, 2}, {2, 2}, {1, 3}, {5, 3}}};
    if (f < 4) return least.at(f);
    if (f < 8) return {3 + 8 * (f - 4), 5};
    if (f < 24) return {7 + 16 * (f - 8), 8};
    return {15 + 16 * (f - 24), 14};
  }

  void countSymbols(const Table& table, const std::vector<unsigned>& symbols) {
    auto* const begin = &frequencies.at(table.first);
    auto* const end = begin + table.symbols;
    if (std::accumulate(begin, end, 0) != 0) return;
    for (const unsigned symbol : symbols) begin[symbol] = 1;
    auto& first = begin[symbols.empty() ? 0 : std::ranges::min(symbols)];
    first = 0;
    first = static_cast<std::uint16_t>(static_cast<int>(table.states) - std::accumulate(begin, end, 0));
  }

  // One step of the encoder, as the format states it: signed arithmetic, no table.
  void step(const Table& table, unsigned symbol, unsigned& state, Bits& bits) const {
    const auto* const ofTable = &frequencies.at(table.first);
    const int f = ofTable[symbol];
    const int t = std::accumulate(ofTable, ofTable + symbol, 0);
    const int n = static_cast<int>(table.states);
    const int k = static_cast<int>(std::bit_width(table.states)) - static_cast<int>(std::bit_width(ofTable[symbol]));
    const int count = static_cast<int>(state) >= (f << k) - n ? k : k - 1;
    append(bits, state, static_cast<unsigned>(count));
    state = static_cast<unsigned>(t - f + (n >> count) + (static_cast<int>(state) >> count));
  }
};

}  // namespace quillbrook::test
