// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Codec/Bytes.h"
#include "Codec/LzfseFormat.h"

namespace quillbrook::Codec {

// `length` bytes equal those `distance` back. A length of 0: no match.
struct Match {
  std::size_t length = 0;
  std::uint32_t distance = 0;
  std::int32_t saving = 0;  // MatchFinder's estimate of what it saves over literals; 0 for no match
};

// Finds earlier places that hold the bytes at a position: chains of the positions whose first four bytes have the same
// hash, most recent first, and one recent position for each hash of three bytes.
//
// Positions are kept as their low 32 bits, in tables that are only hints: a candidate counts if it lies in front of the
// position by no more than the format's largest distance and if its bytes are equal. So an entry that is empty, or left
// from 2^32 bytes ago, costs a comparison and can do no harm.
class MatchFinder {
 public:
  // Bytes that must follow a position which is searched or inserted, itself included.
  static constexpr std::size_t lookahead = 4;

  // Begins with nothing inserted. The tables grow with the source, so that a small one need not pay for clearing them.
  void begin(std::span<const std::uint8_t> source) noexcept {
    begin_ = source.data();
    end_ = begin_ + source.size();
    const auto wanted = static_cast<unsigned>(std::bit_width(source.size()));
    const unsigned bits = std::clamp(wanted, minHashBits, maxHashBits);
    shift4_ = 32 - bits;
    std::fill_n(heads4_.begin(), std::size_t{1} << bits, empty);
    const unsigned bits3 = std::min(bits, maxHash3Bits);
    shift3_ = 32 - bits3;
    std::fill_n(heads3_.begin(), std::size_t{1} << bits3, empty);
  }

  void insert(std::size_t position) noexcept { static_cast<void>(replaceHeads(position)); }

  // The match at `position` that saves most, and inserts the position. `lastDistance` is the distance of the match
  // before, which is cheap to code again; 0 if there is none.
  Match findAndInsert(std::size_t position, std::uint32_t lastDistance) noexcept {
    const std::uint8_t* const here = begin_ + position;
    const auto room = static_cast<std::size_t>(end_ - here);
    const auto reach = static_cast<std::uint32_t>(std::min(position, std::size_t{LzfseFormat::maxD}));
    const Heads heads = replaceHeads(position);
    const auto first = Bytes::load<std::uint32_t>(here);
    Match best;

    if (lastDistance != 0 && ((first ^ Bytes::load<std::uint32_t>(here - lastDistance)) & lowThreeBytes) == 0) {
      const std::size_t length = commonLength(here, here - lastDistance, room);
      best = {length, lastDistance, savingOf(length, 0)};
      if (length >= niceLength) return best;
    }

    const std::uint32_t near = static_cast<std::uint32_t>(position) - heads.three;
    if (near - 1 < std::min(reach, farthestOfThree) && best.length < 4 &&
        ((first ^ Bytes::load<std::uint32_t>(here - near)) & lowThreeBytes) == 0) {
      const std::size_t length = commonLength(here, here - near, room);
      const std::int32_t saving = savingOf(length, near);
      if (saving > best.saving) best = {length, near, saving};
    }

    std::uint32_t candidate = heads.four;
    for (unsigned step = 0; step < deepestSearch; ++step) {
      const std::uint32_t distance = static_cast<std::uint32_t>(position) - candidate;
      if (distance - 1 >= reach) break;
      const std::uint8_t* const there = here - distance;
      candidate = chain_[candidate & (chain_.size() - 1)];
      // A longer match agrees in the last byte of the length to beat, and three before it.
      const std::size_t probe = std::max<std::size_t>(best.length, 3) - 3;
      if (probe + 4 > room) break;
      if (Bytes::load<std::uint32_t>(there + probe) != Bytes::load<std::uint32_t>(here + probe)) continue;
      const std::size_t length = commonLength(here, there, room);
      if (length < 4) continue;
      const std::int32_t saving = savingOf(length, distance);
      if (saving > best.saving) best = {length, distance, saving};
      if (length >= niceLength) break;
    }
    return best;
  }

  // Bytes, at most `room`, in which the two places agree.
  static std::size_t commonLength(const std::uint8_t* a, const std::uint8_t* b, std::size_t room) noexcept {
    std::size_t length = 0;
    for (; length + 8 <= room; length += 8) {
      const std::uint64_t difference = Bytes::load<std::uint64_t>(a + length) ^ Bytes::load<std::uint64_t>(b + length);
      if (difference != 0) return length + static_cast<std::size_t>(std::countr_zero(difference)) / 8;
    }
    while (length < room && a[length] == b[length]) ++length;
    return length;
  }

 private:
  // Positions looked at in one search, and the length that ends it.
  static constexpr unsigned deepestSearch = 24;
  static constexpr std::size_t niceLength = 64;
  static constexpr unsigned minHashBits = 10;
  static constexpr unsigned maxHashBits = 15;
  static constexpr unsigned maxHash3Bits = 13;
  // Three bytes from farther away cost about as much as three literals.
  static constexpr std::uint32_t farthestOfThree = 2048;
  static constexpr std::uint32_t lowThreeBytes = 0xFFFFFF;
  // Farther back than any match reaches, for every position below 2^31.
  static constexpr std::uint32_t empty = 0x8000'0000;

  struct Heads {
    std::uint32_t four;
    std::uint32_t three;
  };

  // Puts the position at the head of its chains and returns the heads before.
  Heads replaceHeads(std::size_t position) noexcept {
    const auto bytes = Bytes::load<std::uint32_t>(begin_ + position);
    // Multiplicative hashing: 2^32 over the golden ratio spreads the bytes into the product's high bits.
    constexpr std::uint32_t multiplier = 0x9E37'79B1;
    std::uint32_t& four = heads4_[(bytes * multiplier) >> shift4_];
    std::uint32_t& three = heads3_[((bytes << 8) * multiplier) >> shift3_];
    const Heads before{four, three};
    const auto low = static_cast<std::uint32_t>(position);
    chain_[low & (chain_.size() - 1)] = four;
    four = low;
    three = low;
    return before;
  }

  // Estimated bits that a match saves: what its literals would cost less what its triple costs.
  static std::int32_t savingOf(std::size_t length, std::uint32_t distance) noexcept {
    constexpr std::int32_t literalCost = 6;
    constexpr std::int32_t newCost = 9;
    constexpr std::int32_t repeatCost = 6;
    const auto gain = static_cast<std::int32_t>(std::min<std::size_t>(length, 1U << 20)) * literalCost;
    const std::int32_t cost =
        distance == 0 ? repeatCost : newCost + static_cast<std::int32_t>(std::bit_width(distance));
    return std::max(gain - cost, 0);
  }

  const std::uint8_t* begin_;
  const std::uint8_t* end_;
  unsigned shift4_;
  unsigned shift3_;
  std::array<std::uint32_t, std::size_t{1} << maxHashBits> heads4_;
  std::array<std::uint32_t, std::size_t{1} << maxHash3Bits> heads3_;
  // The position before each in its chain, for as many as the largest distance spans.
  std::array<std::uint32_t, std::bit_ceil(LzfseFormat::maxD + 1)> chain_;
};

}  // namespace quillbrook::Codec
