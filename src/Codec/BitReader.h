// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include "Codec/Bytes.h"

namespace quillbrook::Codec {

// Reads a bit stream from its last bit to its first.
//
// Invariants: the top `count_` bits of `window_` are the bits read next, the first of them on top; the bits below are
// either zero or the true continuation of the stream. `next_` is the end of the bytes that the window has not yet
// counted. `next_` may fall below `begin_` by a few bytes: then the window holds bytes that are not the stream's, which
// is harmless while nobody takes them, and overrun() tells if somebody did.
class BitReader {
 public:
  // Bits that are there for sure after a refill.
  static constexpr unsigned refilledBits = 56;
  // refill() looks at bytes in front of the stream, at most this many; the caller sees to it that they exist. A block's
  // header stands there. (8 bytes below begin_ pass the test in refill(), and 8 more are loaded below those.)
  static constexpr std::size_t bytesInFront = 16;

  // The stream without the `unusedBits` (0...7) on top of its last byte.
  BitReader(const std::uint8_t* begin, std::size_t size, unsigned unusedBits) noexcept
      : begin_(begin), next_(begin + size) {
    refill();
    drop(unusedBits);
  }

  // Makes at least refilledBits available; false if the stream has been overrun for good.
  bool refill() noexcept {
    if (next_ - begin_ < -8) return false;
    window_ |= Bytes::load<std::uint64_t>(next_ - 8) >> count_;
    // Whole bytes that fit above the old ones: the window keeps 56...63 counted bits.
    next_ -= (63 - count_) >> 3;
    count_ |= 56;
    return true;
  }

  // `bits` is in 0...56 and there after the last refill. The shift goes in two steps as one by 64 has no meaning.
  std::uint64_t take(unsigned bits) noexcept {
    const std::uint64_t value = (window_ >> 1) >> (63 - bits);
    drop(bits);
    return value;
  }

  // Whether more bits were taken than the stream has.
  [[nodiscard]] bool overrun() const noexcept { return (next_ - begin_) * 8 + static_cast<std::ptrdiff_t>(count_) < 0; }

 private:
  void drop(unsigned bits) noexcept {
    window_ <<= bits;
    count_ -= bits;
  }

  std::uint64_t window_ = 0;
  unsigned count_ = 0;
  const std::uint8_t* begin_;
  const std::uint8_t* next_;
};

}  // namespace quillbrook::Codec
