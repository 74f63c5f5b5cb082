// SPDX-License-Identifier: MIT
#include "Codec/LzfseBlockHeader.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "Codec/Bytes.h"

namespace quillbrook::Codec {

namespace {

using namespace LzfseFormat;

// The prefix code of a frequency. Five bits tell its row: 0 and 1 are known by two bits, 2 and 3 by three, 4...7 by
// five, 8...23 have four more bits, 24...1047 ten more.
struct FrequencyCode {
  std::uint8_t bits;
  std::uint16_t value;  // or the smallest value of the row
};

constexpr unsigned mediumBits = 8;
constexpr unsigned largeBits = 14;
constexpr std::uint16_t mediumBase = 8;
constexpr std::uint16_t largeBase = 24;

constexpr std::array<FrequencyCode, 32> frequencyCodes = [] {
  std::array<FrequencyCode, 32> codes{};
  for (unsigned low = 0; low < 32; ++low) {
    const auto five = static_cast<std::uint16_t>(4 + (low >> 3));
    switch (low & 7) {
      case 0:
      case 4: codes[low] = {2, 0}; break;
      case 2:
      case 6: codes[low] = {2, 1}; break;
      case 1: codes[low] = {3, 2}; break;
      case 5: codes[low] = {3, 3}; break;
      case 3: codes[low] = {5, five}; break;
      default:
        codes[low] = (low & 8) == 0 ? FrequencyCode{mediumBits, mediumBase} : FrequencyCode{largeBits, largeBase};
    }
  }
  return codes;
}();

struct Bits {
  std::uint32_t value;
  unsigned count;
};

Bits encodedFrequency(std::uint16_t frequency) {
  constexpr std::array<Bits, 8> small{{{0, 2}, {2, 2}, {1, 3}, {5, 3}, {3, 5}, {11, 5}, {19, 5}, {27, 5}}};
  if (frequency < mediumBase) return small[frequency];
  if (frequency < largeBase) return {7 + (static_cast<std::uint32_t>(frequency - mediumBase) << 4), mediumBits};
  return {15 + (static_cast<std::uint32_t>(frequency - largeBase) << 4), largeBits};
}

// Reads values from the low bits up, and never beyond its bytes.
class FrequencyReader {
 public:
  explicit FrequencyReader(std::span<const std::uint8_t> bytes)
      : next_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  template <std::size_t Symbols>
  bool read(std::array<std::uint16_t, Symbols>& frequencies) {
    for (std::uint16_t& frequency : frequencies) {
      while (count_ < largeBits && next_ != end_) {
        window_ |= static_cast<std::uint32_t>(*next_++) << count_;
        count_ += 8;
      }
      const FrequencyCode code = frequencyCodes[window_ & 31];
      if (code.bits > count_) return false;
      const std::uint32_t more = code.bits > 5 ? (window_ >> 4) & ((1U << (code.bits - 4)) - 1) : 0;
      frequency = static_cast<std::uint16_t>(code.value + more);
      window_ >>= code.bits;
      count_ -= code.bits;
    }
    return true;
  }

 private:
  std::uint32_t window_ = 0;  // invariant: count_ unread bits, zero above
  unsigned count_ = 0;
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

// Whether the frequencies make a table, or are left out where there is nothing to decode.
template <std::size_t Symbols>
bool isTable(std::size_t states, const std::array<std::uint16_t, Symbols>& frequencies, std::uint32_t toDecode) {
  const std::size_t sum = std::accumulate(frequencies.begin(), frequencies.end(), std::size_t{0});
  return sum == states || (sum == 0 && toDecode == 0);
}

std::uint32_t bitField(std::uint64_t word, unsigned offset, unsigned bits) {
  return static_cast<std::uint32_t>((word >> offset) & ((std::uint64_t{1} << bits) - 1));
}

}  // namespace

bool LzfseBlockHeader::isConsistent() const noexcept {
  if (literals > maxLiterals || literals % 4 != 0 || matches > maxMatches) return false;
  // Either kind of block says minus the number of unused bits; what was no such number came out as more than 7.
  if (literalUnusedBits > 7 || lmdUnusedBits > 7) return false;
  if (std::ranges::any_of(literalStates, [](std::uint16_t state) { return state >= LzfseFormat::literalStates; })) {
    return false;
  }
  if (lState >= lStates || mState >= mStates || dState >= dStates) return false;
  return isTable(lStates, lFrequencies, matches) && isTable(mStates, mFrequencies, matches) &&
         isTable(dStates, dFrequencies, matches) && isTable(LzfseFormat::literalStates, literalFrequencies, literals);
}

DecodeOutcome LzfseBlockHeader::readPacked(std::span<const std::uint8_t> block, std::size_t& headerBytes) noexcept {
  if (block.size() < packedFixedBytes) return DecodeOutcome::inputEnded;
  rawBytes = Bytes::load<std::uint32_t>(&block[4]);
  const auto word0 = Bytes::load<std::uint64_t>(&block[8]);
  const auto word1 = Bytes::load<std::uint64_t>(&block[16]);
  const auto word2 = Bytes::load<std::uint64_t>(&block[24]);
  literals = bitField(word0, 0, 20);
  literalPayloadBytes = bitField(word0, 20, 20);
  matches = bitField(word0, 40, 20);
  literalUnusedBits = 7 - bitField(word0, 60, 3);
  for (unsigned i = 0; i < 4; ++i) literalStates[i] = static_cast<std::uint16_t>(bitField(word1, 10 * i, 10));
  lmdPayloadBytes = bitField(word1, 40, 20);
  lmdUnusedBits = 7 - bitField(word1, 60, 3);
  headerBytes = bitField(word2, 0, 32);
  lState = static_cast<std::uint16_t>(bitField(word2, 32, 10));
  mState = static_cast<std::uint16_t>(bitField(word2, 42, 10));
  dState = static_cast<std::uint16_t>(bitField(word2, 52, 10));

  if (headerBytes < packedFixedBytes || headerBytes > packedMaxBytes) return DecodeOutcome::malformed;
  if (headerBytes > block.size()) return DecodeOutcome::inputEnded;
  if (headerBytes == packedFixedBytes) {
    lFrequencies = {};
    mFrequencies = {};
    dFrequencies = {};
    literalFrequencies = {};
  } else {
    FrequencyReader reader(block.subspan(packedFixedBytes, headerBytes - packedFixedBytes));
    if (!reader.read(lFrequencies) || !reader.read(mFrequencies) || !reader.read(dFrequencies) ||
        !reader.read(literalFrequencies)) {
      return DecodeOutcome::malformed;
    }
  }
  return isConsistent() ? DecodeOutcome::complete : DecodeOutcome::malformed;
}

DecodeOutcome LzfseBlockHeader::readPlain(std::span<const std::uint8_t> block, std::size_t& headerBytes) noexcept {
  if (block.size() < plainBytes) return DecodeOutcome::inputEnded;
  const std::uint8_t* next = &block[magicBytes];
  const auto take32 = [&next] { return Bytes::load<std::uint32_t>(std::exchange(next, next + 4)); };
  const auto take16 = [&next] { return Bytes::load<std::uint16_t>(std::exchange(next, next + 2)); };
  rawBytes = take32();
  const std::uint32_t payloadBytes = take32();
  literals = take32();
  matches = take32();
  literalPayloadBytes = take32();
  lmdPayloadBytes = take32();
  literalUnusedBits = 0U - take32();
  for (std::uint16_t& state : literalStates) state = take16();
  lmdUnusedBits = 0U - take32();
  lState = take16();
  mState = take16();
  dState = take16();
  for (std::uint16_t& frequency : lFrequencies) frequency = take16();
  for (std::uint16_t& frequency : mFrequencies) frequency = take16();
  for (std::uint16_t& frequency : dFrequencies) frequency = take16();
  for (std::uint16_t& frequency : literalFrequencies) frequency = take16();
  headerBytes = plainBytes;
  const bool sizesAgree = std::uint64_t{literalPayloadBytes} + lmdPayloadBytes == payloadBytes;
  return sizesAgree && isConsistent() ? DecodeOutcome::complete : DecodeOutcome::malformed;
}

std::size_t LzfseBlockHeader::packedBytes() const noexcept {
  std::size_t bits = 0;
  const auto count = [&bits](const auto& frequencies) {
    for (const std::uint16_t frequency : frequencies) bits += encodedFrequency(frequency).count;
  };
  count(lFrequencies);
  count(mFrequencies);
  count(dFrequencies);
  count(literalFrequencies);
  return packedFixedBytes + (bits + 7) / 8;
}

void LzfseBlockHeader::writePacked(std::uint8_t* to) const noexcept {
  std::uint8_t* next = to + packedFixedBytes;
  std::uint32_t window = 0;
  unsigned count = 0;
  const auto write = [&](const auto& frequencies) {
    for (const std::uint16_t frequency : frequencies) {
      const Bits code = encodedFrequency(frequency);
      window |= code.value << count;
      for (count += code.count; count >= 8; count -= 8, window >>= 8) *next++ = static_cast<std::uint8_t>(window);
    }
  };
  write(lFrequencies);
  write(mFrequencies);
  write(dFrequencies);
  write(literalFrequencies);
  if (count != 0) *next++ = static_cast<std::uint8_t>(window);
  const auto headerBytes = static_cast<std::size_t>(next - to);

  const auto field = [](std::uint32_t value, unsigned offset) { return static_cast<std::uint64_t>(value) << offset; };
  Bytes::store(to, packedLzfseMagic);
  Bytes::store(to + 4, rawBytes);
  Bytes::store(to + 8, field(literals, 0) | field(literalPayloadBytes, 20) | field(matches, 40) |
                           field(7 - literalUnusedBits, 60));
  Bytes::store(to + 16, field(literalStates[0], 0) | field(literalStates[1], 10) | field(literalStates[2], 20) |
                            field(literalStates[3], 30) | field(lmdPayloadBytes, 40) | field(7 - lmdUnusedBits, 60));
  Bytes::store(to + 24, field(static_cast<std::uint32_t>(headerBytes), 0) | field(lState, 32) | field(mState, 42) |
                            field(dState, 52));
}

}  // namespace quillbrook::Codec
