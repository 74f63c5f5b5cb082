// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Codec/Bytes.h"

namespace quillbrook::Codec {

// How the decoding of a block, or of a whole stream, went.
enum class DecodeOutcome : std::uint8_t {
  complete,    // all of it is decoded
  inputEnded,  // the source ended first; what could be decoded is written
  full,        // the destination, or the block's share of it, is full and there would be more
  malformed,
};

// The caller's destination while it fills. Invariant: begin <= next <= end.
// Matches may reach back to `begin`, so also into the bytes of earlier blocks.
struct DecodeTarget {
  std::uint8_t* begin;
  std::uint8_t* next;
  std::uint8_t* end;

  [[nodiscard]] std::size_t written() const { return static_cast<std::size_t>(next - begin); }
  [[nodiscard]] std::size_t room() const { return static_cast<std::size_t>(end - next); }

  // Appends the bytes, or as many as there is room for; false in the latter case.
  bool append(const std::uint8_t* from, std::size_t count) {
    const std::size_t taken = std::min(count, room());
    if (taken != 0) std::memcpy(next, from, taken);
    next += taken;
    return taken == count;
  }

  // The same for a match. The distance is in 1...written().
  bool appendMatch(std::size_t distance, std::size_t count) {
    const std::size_t taken = std::min(count, room());
    for (std::size_t i = 0; i < taken; ++i) next[i] = *(next + i - distance);
    next += taken;
    return taken == count;
  }

  // Appends `l` literals, then a match of `m` bytes from `distance` back, if `m` is not 0. `readable` bytes may be read
  // at `literals`; where they are fewer than `l`, the source has ended. A distance of 0, or one that reaches in front
  // of what is written, is malformed.
  DecodeOutcome appendLiteralsAndMatch(const std::uint8_t* literals, std::size_t readable, std::size_t l,
                                       std::size_t distance, std::size_t m) {
    // A distance of 0 wraps around to the largest number and fails the same test.
    const bool reaches = distance - 1 < written() + l || m == 0;
    if (readable >= l + Bytes::generousMargin && room() >= l + m + Bytes::generousMargin) [[likely]] {
      if (!reaches) return DecodeOutcome::malformed;
      Bytes::copyGenerously(next, literals, l);
      next += l;
      if (m != 0) Bytes::repeatGenerously(next, distance, m);
      next += m;
      return DecodeOutcome::complete;
    }
    if (!append(literals, std::min(l, readable))) return DecodeOutcome::full;
    if (readable < l) return DecodeOutcome::inputEnded;
    if (!reaches) return DecodeOutcome::malformed;
    return appendMatch(distance, m) ? DecodeOutcome::complete : DecodeOutcome::full;
  }
};

}  // namespace quillbrook::Codec
