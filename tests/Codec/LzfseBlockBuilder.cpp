// SPDX-License-Identifier: MIT
#include "Codec/LzfseBlockBuilder.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace quillbrook {

namespace {

using Bits = std::vector<bool>;

void append(Bits& bits, std::uint64_t value, unsigned count) {
  for (unsigned i = 0; i < count; ++i) bits.push_back((value >> i & 1) != 0);
}

ByteVector bytesOf(const Bits& bits) {
  ByteVector bytes((bits.size() + 7) / 8);
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i]) bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 1U << (i % 8));
  }
  return bytes;
}

// One step of the encoder, as the format states it: signed arithmetic, no table.
void step(const LzfseBlockBuilder& block, const LzfseBlockBuilder::Table& table, unsigned symbol, unsigned& state,
          Bits& bits) {
  const auto* const frequencies = &block.frequencies[table.first];
  const int f = frequencies[symbol];
  const int t = std::accumulate(frequencies, frequencies + symbol, 0);
  const int n = static_cast<int>(table.states);
  const int k = static_cast<int>(std::bit_width(table.states)) - static_cast<int>(std::bit_width(frequencies[symbol]));
  const bool large = static_cast<int>(state) >= (f << k) - n;
  const int count = large ? k : k - 1;
  append(bits, state, static_cast<unsigned>(count));
  state = static_cast<unsigned>(t - f + (n >> count) + (static_cast<int>(state) >> count));
}

void appendFrequency(Bits& bits, unsigned f) {
  if (f == 0) return append(bits, 0, 2);
  if (f == 1) return append(bits, 2, 2);
  if (f <= 3) return append(bits, f == 2 ? 1 : 5, 3);
  if (f <= 7) return append(bits, 3 + 8 * (f - 4), 5);
  if (f <= 23) return append(bits, 7 + ((f - 8) << 4), 8);
  append(bits, 15 + ((f - 24) << 4), 14);
}

}  // namespace

LzfseBlockBuilder::Symbol LzfseBlockBuilder::symbolOf(const Table& table, unsigned value) {
  constexpr std::array<unsigned, 4> lExtra{2, 3, 5, 8};
  constexpr std::array<unsigned, 4> mExtra{3, 5, 8, 11};
  Symbol symbol{0, 0, 0};
  for (;; symbol.base += 1U << symbol.extraBits, ++symbol.index) {
    if (table.symbols == d.symbols) {
      symbol.extraBits = symbol.index / 4;
    } else {
      const auto& extra = table.first == l.first ? lExtra : mExtra;
      symbol.extraBits = symbol.index < 16 ? 0 : extra[symbol.index - 16];
    }
    if (value < symbol.base + (1U << symbol.extraBits)) return symbol;
  }
}

void LzfseBlockBuilder::encode() {
  while (literals.size() % 4 != 0) literals.push_back(0);
  literalCount = static_cast<std::uint32_t>(literals.size());
  matchCount = static_cast<std::uint32_t>(triples.size());

  if (frequencies == decltype(frequencies){}) {
    for (const std::uint8_t byte : literals) frequencies[literal.first + byte] = 1;
    for (const Triple& triple : triples) {
      frequencies[l.first + symbolOf(l, triple.l).index] = 1;
      frequencies[m.first + symbolOf(m, triple.m).index] = 1;
      frequencies[d.first + symbolOf(d, triple.d).index] = 1;
    }
    for (const Table& table : {l, m, d, literal}) {
      const auto begin = frequencies.begin() + table.first;
      const auto end = begin + table.symbols;
      auto first = std::find(begin, end, 1);
      if (first == end) first = begin;
      *first = 0;
      *first = static_cast<std::uint16_t>(static_cast<int>(table.states) - std::accumulate(begin, end, 0));
    }
  }

  Bits bits;
  literalStates = {};
  for (std::size_t i = literals.size(); i-- != 0;) step(*this, literal, literals[i], literalStates[i % 4], bits);
  literalPayload = bytesOf(bits);
  literalUnusedBits = static_cast<unsigned>(literalPayload.size() * 8 - bits.size());

  bits.assign(64, false);
  lmdStates = {};
  for (auto triple = triples.rbegin(); triple != triples.rend(); ++triple) {
    const auto value = [&](const Table& table, unsigned plain, unsigned& state) {
      const Symbol symbol = symbolOf(table, plain);
      append(bits, plain - symbol.base, symbol.extraBits);
      step(*this, table, symbol.index, state, bits);
    };
    value(d, triple->d, lmdStates[2]);
    value(m, triple->m, lmdStates[1]);
    value(l, triple->l, lmdStates[0]);
  }
  lmdPayload = bytesOf(bits);
  lmdUnusedBits = static_cast<unsigned>(lmdPayload.size() * 8 - bits.size());
}

ByteVector LzfseBlockBuilder::packed() const {
  Bits tables;
  for (const std::uint16_t frequency : frequencies) appendFrequency(tables, frequency);
  const ByteVector tableBytes = bytesOf(tables);
  Bits words;
  append(words, literalCount, 20);
  append(words, literalPayload.size(), 20);
  append(words, matchCount, 20);
  append(words, 7 - literalUnusedBits, 4);
  for (const unsigned state : literalStates) append(words, state, 10);
  append(words, lmdPayload.size(), 20);
  append(words, 7 - lmdUnusedBits, 4);
  append(words, 32 + tableBytes.size(), 32);
  for (const unsigned state : lmdStates) append(words, state, 10);
  append(words, 0, 2);
  ByteVector block = quillbrook::bytesOf("bvx2");
  appendNumber(block, rawBytes, 4);
  return block + bytesOf(words) + tableBytes + literalPayload + lmdPayload;
}

ByteVector LzfseBlockBuilder::plain() const {
  ByteVector block = quillbrook::bytesOf("bvx1");
  appendNumber(block, rawBytes, 4);
  appendNumber(block, literalPayload.size() + lmdPayload.size(), 4);
  appendNumber(block, literalCount, 4);
  appendNumber(block, matchCount, 4);
  appendNumber(block, literalPayload.size(), 4);
  appendNumber(block, lmdPayload.size(), 4);
  appendNumber(block, 0U - literalUnusedBits, 4);
  for (const unsigned state : literalStates) appendNumber(block, state, 2);
  appendNumber(block, 0U - lmdUnusedBits, 4);
  for (const unsigned state : lmdStates) appendNumber(block, state, 2);
  for (const std::uint16_t frequency : frequencies) appendNumber(block, frequency, 2);
  return block + literalPayload + lmdPayload;
}

void appendNumber(ByteVector& bytes, std::uint64_t value, unsigned count) {
  for (unsigned i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

ByteVector operator+(ByteVector left, const ByteVector& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

ByteVector storedBlock(std::string_view text) {
  ByteVector block = bytesOf("bvx-");
  appendNumber(block, text.size(), 4);
  return block + bytesOf(text);
}

ByteVector lzvnBlock(std::uint32_t rawBytes, const ByteVector& opcodes) {
  ByteVector block = bytesOf("bvxn");
  appendNumber(block, rawBytes, 4);
  appendNumber(block, opcodes.size(), 4);
  return block + opcodes;
}

ByteVector endMarker() {
  return bytesOf("bvx$");
}

}  // namespace quillbrook
