// SPDX-License-Identifier: MIT
#include "Codec/LzvnDecoder.h"

#include <array>

#include "Codec/Bytes.h"

namespace quillbrook::Codec::LzvnDecoder {

namespace {

enum class Kind : std::uint8_t {
  nearMatch,      // LLMMMDDD d
  farMatch,       // LLMMM111 dd
  previousMatch,  // LLMMM110
  mediumMatch,    // 101LLMMM ww
  fewLiterals,    // 1110LLLL
  manyLiterals,   // 11100000 l
  shortRepeat,    // 1111MMMM
  longRepeat,     // 11110000 m
  nothing,
  end,
  undefined,
};

constexpr Kind kindOf(unsigned opcode) {
  if (opcode >= 0xF0) return opcode == 0xF0 ? Kind::longRepeat : Kind::shortRepeat;
  if (opcode >= 0xE0) return opcode == 0xE0 ? Kind::manyLiterals : Kind::fewLiterals;
  if (opcode >= 0xD0) return Kind::undefined;
  if (opcode >= 0xA0 && opcode < 0xC0) return Kind::mediumMatch;
  if (opcode >= 0x70 && opcode < 0x80) return Kind::undefined;
  switch (opcode & 7) {
    case 7: return Kind::farMatch;
    case 6: break;
    default: return Kind::nearMatch;
  }
  // A match from the previous distance without literals has the row of 0xF0; its codes mean other things here.
  if (opcode >= 0x40) return Kind::previousMatch;
  if (opcode == 0x06) return Kind::end;
  return opcode == 0x0E || opcode == 0x16 ? Kind::nothing : Kind::undefined;
}

struct Opcode {
  Kind kind;
  std::uint8_t bytes;
};

constexpr std::array<Opcode, 256> opcodes = [] {
  std::array<Opcode, 256> table{};
  for (unsigned opcode = 0; opcode < 256; ++opcode) {
    const Kind kind = kindOf(opcode);
    unsigned bytes = 1;
    if (kind == Kind::nearMatch || kind == Kind::manyLiterals || kind == Kind::longRepeat) bytes = 2;
    if (kind == Kind::farMatch || kind == Kind::mediumMatch) bytes = 3;
    table[opcode] = {kind, static_cast<std::uint8_t>(bytes)};
  }
  return table;
}();

}  // namespace

DecodeOutcome decode(std::span<const std::uint8_t> payload, DecodeTarget& target) noexcept {
  const std::uint8_t* next = payload.data();
  const std::uint8_t* const end = next + payload.size();
  std::size_t distance = 0;  // of the match before; 0 before the first

  while (next != end) {
    const unsigned opcode = *next;
    const auto left = static_cast<std::size_t>(end - next);
    const Opcode known = opcodes[opcode];
    if (left < known.bytes) return DecodeOutcome::inputEnded;
    std::size_t l = opcode >> 6;
    std::size_t m = ((opcode >> 3) & 7) + 3;
    switch (known.kind) {
      case Kind::nearMatch: distance = ((opcode & 7) << 8) | next[1]; break;
      case Kind::farMatch: distance = Bytes::load<std::uint16_t>(next + 1); break;
      case Kind::previousMatch: break;
      case Kind::mediumMatch: {
        const unsigned word = Bytes::load<std::uint16_t>(next + 1);
        l = (opcode >> 3) & 3;
        m = (((opcode & 7) << 2) | (word & 3)) + 3;
        distance = word >> 2;
        break;
      }
      case Kind::fewLiterals:
        l = opcode & 15;
        m = 0;
        break;
      case Kind::manyLiterals:
        l = next[1] + 16U;
        m = 0;
        break;
      case Kind::shortRepeat:
        l = 0;
        m = opcode & 15;
        break;
      case Kind::longRepeat:
        l = 0;
        m = next[1] + 16U;
        break;
      case Kind::nothing: ++next; continue;
      case Kind::end: return DecodeOutcome::complete;
      case Kind::undefined: return DecodeOutcome::malformed;
    }
    next += known.bytes;

    const DecodeOutcome outcome =
        target.appendLiteralsAndMatch(next, static_cast<std::size_t>(end - next), l, distance, m);
    if (outcome != DecodeOutcome::complete) return outcome;
    next += l;
  }
  return DecodeOutcome::inputEnded;
}

}  // namespace quillbrook::Codec::LzvnDecoder
