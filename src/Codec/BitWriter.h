// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Bytes.h"

namespace quillbrook::Codec {

// Writes a bit stream, low bits first.
//
// Invariant: the low `count_` bits of `window_` are written next, all others are zero; after a flush count_ < 8. Once
// the destination has overflowed nothing more is stored, and finish() says so.
class BitWriter {
 public:
  // Bits that may be added between two flushes: with the 7 that a flush may leave they stay below the window's 64.
  static constexpr unsigned bitsPerFlush = 63 - 7;

  explicit BitWriter(std::span<std::uint8_t> destination) noexcept
      : begin_(destination.data()), next_(begin_), end_(begin_ + destination.size()) {}

  // `value` has no bits set from `bits` on.
  void add(std::uint64_t value, unsigned bits) noexcept {
    window_ |= value << count_;
    count_ += bits;
  }

  void flush() noexcept {
    if (end_ - next_ >= 8) [[likely]] {
      Bytes::store(next_, window_);
      next_ += count_ >> 3;
      window_ >>= count_ & ~7U;
      count_ &= 7;
    } else {
      flushByByte();
    }
  }

  struct Result {
    bool fits;
    std::size_t bytes;
    unsigned unusedBits;  // zero bits on top of the last byte
  };

  // Flushes the rest, padded with zero bits.
  Result finish() noexcept {
    flush();
    const unsigned unusedBits = (8 - count_) & 7;
    if (count_ != 0) {
      count_ = 8;
      flushByByte();
    }
    return {!overflowed_, static_cast<std::size_t>(next_ - begin_), unusedBits};
  }

 private:
  void flushByByte() noexcept {
    for (; count_ >= 8; count_ -= 8, window_ >>= 8) {
      if (next_ == end_) {
        overflowed_ = true;
      } else {
        *next_++ = static_cast<std::uint8_t>(window_);
      }
    }
  }

  std::uint64_t window_ = 0;
  unsigned count_ = 0;
  bool overflowed_ = false;
  std::uint8_t* begin_;
  std::uint8_t* next_;
  std::uint8_t* end_;
};

}  // namespace quillbrook::Codec
