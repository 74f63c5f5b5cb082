// SPDX-License-Identifier: MIT
#include "Codec/LzvnEncoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>

namespace quillbrook::Codec::LzvnEncoder {

namespace {

// What the rows of opcodes can say.
constexpr std::size_t shortestMatch = 3;          // of every row but the repeating ones
constexpr std::size_t mostLiteralsOfMatch = 3;    // that a match opcode carries along
constexpr std::uint32_t nearDistance = 0x600;     // two bytes below this
constexpr std::uint32_t mediumDistance = 0x4000;  // 14 bits
constexpr std::uint32_t farDistance = 0x10000;    // 16 bits
constexpr std::size_t mediumMatch = 34;           // longest of its row
constexpr std::size_t shortRun = 15;              // literals or repeated bytes in an opcode of one byte
constexpr std::size_t longRun = 16 + 255;         // in one of two
constexpr std::array<std::uint8_t, 8> endOpcode{0x06};

// Longest match of the rows that give it three bits: longer ones would look like other rows.
constexpr std::size_t longestMatch(std::size_t literals) {
  return 10 - 2 * literals;
}

// Appends opcodes. Once the destination has overflowed nothing more is written.
class Writer {
 public:
  explicit Writer(std::span<std::uint8_t> destination) noexcept : destination_(destination) {}

  void opcode(std::initializer_list<std::size_t> bytes) {
    if (!reserve(bytes.size())) return;
    for (const std::size_t byte : bytes) destination_[size_++] = static_cast<std::uint8_t>(byte);
  }

  void literals(const std::uint8_t* from, std::size_t count) {
    if (count == 0 || !reserve(count)) return;
    std::memcpy(&destination_[size_], from, count);
    size_ += count;
  }

  [[nodiscard]] std::size_t size() const { return overflowed_ ? 0 : size_; }

 private:
  bool reserve(std::size_t count) {
    overflowed_ = overflowed_ || destination_.size() - size_ < count;
    return !overflowed_;
  }

  std::span<std::uint8_t> destination_;
  std::size_t size_ = 0;
  bool overflowed_ = false;
};

void writeLiterals(Writer& writer, const std::uint8_t* from, std::size_t count) {
  while (count != 0) {
    const std::size_t run = std::min(count, longRun);
    if (run > shortRun) {
      writer.opcode({0xE0, run - 16});
    } else {
      writer.opcode({0xE0 | run});
    }
    writer.literals(from, run);
    from += run;
    count -= run;
  }
}

// `count` bytes from the previous distance.
void writeRepeat(Writer& writer, std::size_t count) {
  while (count != 0) {
    const std::size_t run = std::min(count, longRun);
    if (run > shortRun) {
      writer.opcode({0xF0, run - 16});
    } else {
      writer.opcode({0xF0 | run});
    }
    count -= run;
  }
}

// A match that `l` literals precede, which stand at `from`. It is shortestMatch or longer unless it repeats the
// distance of the match before, and the distance is below farDistance.
void writeMatch(Writer& writer, const std::uint8_t* from, std::size_t l, std::size_t m, std::uint32_t d, bool repeats) {
  if (l > mostLiteralsOfMatch || (repeats && m < shortestMatch)) {
    writeLiterals(writer, from, l);
    l = 0;
  }
  if (repeats && l == 0) {
    writeRepeat(writer, m);
    return;
  }
  std::size_t first = std::min(m, longestMatch(l));
  const std::size_t lm = (l << 6) | ((first - shortestMatch) << 3);
  if (repeats) {
    writer.opcode({lm | 6});
  } else if (d < nearDistance && (m == first || m > mediumMatch + shortRun)) {
    writer.opcode({lm | (d >> 8), d & 0xFF});
  } else if (d < mediumDistance) {
    first = std::min(m, mediumMatch);
    const std::size_t length = first - shortestMatch;
    const std::size_t word = (std::size_t{d} << 2) | (length & 3);
    writer.opcode({0xA0 | (l << 3) | (length >> 2), word & 0xFF, word >> 8});
  } else {
    writer.opcode({lm | 7, d & 0xFF, d >> 8});
  }
  writer.literals(from, l);
  writeRepeat(writer, m - first);
}

}  // namespace

std::size_t leastBytes(const Block& block) noexcept {
  // A byte for each literal and for each opcode that copies; several triples may share one opcode only if they are
  // pieces of one match, and a piece is longer than what an opcode of two bytes repeats.
  static_assert(LzfseFormat::maxM > longRun);
  const auto copies = std::ranges::count_if(block.triples(), [](const Triple& triple) { return triple.m != 0; });
  return block.literals() + static_cast<std::size_t>(copies) + endOpcode.size();
}

std::size_t encode(std::span<std::uint8_t> destination, const Block& block) noexcept {
  Writer writer(destination);
  const std::uint8_t* from = block.raw().data();
  std::size_t literals = 0;          // pending, at `from`
  std::uint32_t tripleDistance = 0;  // as a triple's distance of 0 means it
  std::uint32_t opcodeDistance = 0;  // of the last opcode that copied; 0 before the first
  for (const Triple& triple : block.triples()) {
    if (triple.d != 0) tripleDistance = triple.d;
    literals += triple.l;
    if (triple.m == 0) continue;
    const bool repeats = tripleDistance == opcodeDistance;
    if (!repeats && (triple.m < shortestMatch || tripleDistance >= farDistance)) {
      literals += triple.m;
      continue;
    }
    writeMatch(writer, from, literals, triple.m, tripleDistance, repeats);
    from += literals + triple.m;
    literals = 0;
    opcodeDistance = tripleDistance;
  }
  writeLiterals(writer, from, literals);
  writer.literals(endOpcode.data(), endOpcode.size());
  return writer.size();
}

}  // namespace quillbrook::Codec::LzvnEncoder
