// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/LzfseFormat.h"

namespace quillbrook::Codec {

// Copy `l` literals, then `m` bytes from distance `d` back; a `d` of 0 stands for the distance of the triple before.
// Every value is within the format's limits, so it is one LZFSE triple as it stands.
struct Triple {
  std::uint16_t l;
  std::uint16_t m;
  std::uint32_t d;
};

// A parsed block while it grows: raw bytes of the source, and triples that cover them.
class Block {
 public:
  // Begins an empty block at `source`.
  void begin(const std::uint8_t* source) noexcept {
    raw_ = source;
    rawBytes_ = 0;
    literals_ = 0;
    triples_ = 0;
    distance_ = 0;
  }

  // Appends some of a match of `m` bytes that `l` literals precede, as much as the limits of one block allow, and takes
  // what it appended off `l` and `m`; if something is left, the block is full. `m` may be 0: literals alone.
  void append(std::size_t& l, std::size_t& m, std::uint32_t distance) noexcept {
    while (l + m != 0 && triples_ != LzfseFormat::maxMatches) {
      const std::size_t literals = std::min({l, std::size_t{LzfseFormat::maxL}, LzfseFormat::maxLiterals - literals_});
      if (literals == 0 && l != 0) return;
      l -= literals;
      const std::size_t match = l != 0 ? 0 : std::min(m, std::size_t{LzfseFormat::maxM});
      m -= match;
      add(literals, match, distance);
    }
  }

  [[nodiscard]] std::span<const std::uint8_t> raw() const noexcept { return {raw_, rawBytes_}; }
  [[nodiscard]] std::size_t literals() const noexcept { return literals_; }
  [[nodiscard]] std::span<const Triple> triples() const noexcept { return {list_.data(), triples_}; }

 private:
  void add(std::size_t l, std::size_t m, std::uint32_t distance) noexcept {
    // Where nothing is copied any distance will do: the cheapest is the one before. Only the first triple has none.
    const bool repeats = m == 0 ? triples_ != 0 : distance == distance_;
    if (!repeats) distance_ = m == 0 ? 1 : distance;
    list_[triples_++] = {static_cast<std::uint16_t>(l), static_cast<std::uint16_t>(m), repeats ? 0 : distance_};
    literals_ += l;
    rawBytes_ += l + m;
  }

  const std::uint8_t* raw_;
  std::size_t rawBytes_;
  std::size_t literals_;
  std::size_t triples_;
  std::uint32_t distance_;  // of the last triple; 0 before the first
  std::array<Triple, LzfseFormat::maxMatches> list_;
};

}  // namespace quillbrook::Codec
