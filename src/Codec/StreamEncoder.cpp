// SPDX-License-Identifier: MIT
#include "Codec/StreamEncoder.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "Codec/Bytes.h"
#include "Codec/LzfseEncoder.h"
#include "Codec/LzvnEncoder.h"

namespace quillbrook::Codec::StreamEncoder {

namespace {

using namespace LzfseFormat;

// Appends blocks to the destination, each in its shortest form.
class BlockWriter {
 public:
  BlockWriter(std::span<std::uint8_t> destination, const std::uint8_t* sourceEnd, LiteralBuffer& memory) noexcept
      : destination_(destination), sourceEnd_(sourceEnd), memory_(memory) {}

  // False if the block does not fit.
  bool write(const Block& block) {
    // A compressed form must be shorter than what storing the block adds to the stream: its bytes, less a header if a
    // stored block in front could be extended, since the next one to be stored would need a new header. The first block
    // is compared with a stored one as it stands. So compressed blocks save at least 1 byte each, and 9 where they end
    // a stored run; only the first may cost up to 7. Whatever the content, all headers together then add no more than
    // 7, 8 for the first stored run and the end marker: far below the 64 bytes that callers leave.
    const std::size_t raw = block.raw().size();
    std::size_t stored = raw;
    if (size_ == 0) stored += storedHeaderBytes;
    if (storedAt_ != none) stored -= std::min(raw, storedHeaderBytes);
    const std::span<std::uint8_t> room = destination_.subspan(size_);
    const std::size_t limit = std::min(room.size(), stored == 0 ? 0 : stored - 1);
    std::size_t written = LzfseEncoder::encode(room.first(limit), block, sourceEnd_, memory_);
    written = writeLzvnIfShorter(block, room.first(written == 0 ? limit : written - 1), written);
    if (written == 0) return writeStored(block.raw());
    size_ += written;
    storedAt_ = none;
    return true;
  }

  // Writes the end marker and returns the stream's length, or 0 if it does not fit.
  std::size_t finish() {
    if (destination_.size() - size_ < magicBytes) return 0;
    Bytes::store(&destination_[size_], endMagic);
    return size_ + magicBytes;
  }

 private:
  static constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

  // Returns `written` if the block as LZVN does not fit into `room`.
  std::size_t writeLzvnIfShorter(const Block& block, std::span<std::uint8_t> room, std::size_t written) {
    if (room.size() < lzvnHeaderBytes + LzvnEncoder::leastBytes(block)) return written;
    // Into memory of its own: what is in `room` stays if this comes out longer.
    const std::size_t payload =
        LzvnEncoder::encode(std::span(memory_).first(std::min(memory_.size(), room.size() - lzvnHeaderBytes)), block);
    if (payload == 0) return written;
    Bytes::store(room.data(), lzvnMagic);
    Bytes::store(&room[4], static_cast<std::uint32_t>(block.raw().size()));
    Bytes::store(&room[8], static_cast<std::uint32_t>(payload));
    std::memcpy(&room[lzvnHeaderBytes], memory_.data(), payload);
    return lzvnHeaderBytes + payload;
  }

  bool writeStored(std::span<const std::uint8_t> raw) {
    const bool extends = storedAt_ != none && storedBytes_ + raw.size() <= std::numeric_limits<std::uint32_t>::max();
    const std::size_t header = extends ? 0 : storedHeaderBytes;
    if (destination_.size() - size_ < header + raw.size()) return false;
    if (!extends) {
      storedAt_ = size_;
      storedBytes_ = 0;
      Bytes::store(&destination_[storedAt_], storedMagic);
      size_ += header;
    }
    std::memcpy(&destination_[size_], raw.data(), raw.size());
    size_ += raw.size();
    storedBytes_ += raw.size();
    Bytes::store(&destination_[storedAt_ + magicBytes], static_cast<std::uint32_t>(storedBytes_));
    return true;
  }

  std::span<std::uint8_t> destination_;
  std::size_t size_ = 0;
  std::size_t storedAt_ = none;  // where the last block begins, if it is a stored one
  std::size_t storedBytes_ = 0;
  const std::uint8_t* sourceEnd_;
  LiteralBuffer& memory_;
};

// Parses the source into literals and matches, and writes a block whenever one is full.
class Parser {
 public:
  Parser(std::span<const std::uint8_t> source, Workspace& workspace, BlockWriter& writer) noexcept
      : source_(source), finder_(workspace.finder), block_(workspace.block), writer_(writer) {}

  bool run() {
    finder_.begin(source_);
    block_.begin(source_.data());
    // Positions from here on have too few bytes behind them.
    const std::size_t searchEnd = source_.size() - std::min(source_.size(), MatchFinder::lookahead - 1);
    std::size_t literalsBegin = 0;
    std::size_t position = 0;
    while (position < searchEnd) {
      Match match = finder_.findAndInsert(position, distance_);
      if (match.saving == 0) {
        // The longer nothing is found, the fewer positions are tried: what does not compress passes quickly.
        position += 1 + ((position - literalsBegin) >> patience);
        continue;
      }
      // Lazy matching: a match is given up for one that begins one or two bytes later and saves more.
      std::size_t inserted = position + 1;
      while (match.length < goodLength && inserted + 2 <= searchEnd) {
        const Match next = finder_.findAndInsert(inserted++, distance_);
        if (next.saving > match.saving + costOfDelay) {
          match = next;
          position = inserted - 1;
          continue;
        }
        const Match afterNext = finder_.findAndInsert(inserted++, distance_);
        if (afterNext.saving <= match.saving + 2 * costOfDelay) break;
        match = afterNext;
        position = inserted - 1;
      }
      const std::size_t end = position + match.length;
      for (const std::size_t stop = std::min(end, searchEnd); inserted < stop; ++inserted) finder_.insert(inserted);
      if (!emit(position - literalsBegin, match.length, match.distance)) return false;
      distance_ = match.distance;
      position = end;
      literalsBegin = end;
    }
    return emit(source_.size() - literalsBegin, 0, 0) && (block_.raw().empty() || writer_.write(block_));
  }

 private:
  static constexpr unsigned patience = 11;
  static constexpr std::size_t goodLength = 32;
  static constexpr std::int32_t costOfDelay = 4;

  bool emit(std::size_t l, std::size_t m, std::uint32_t distance) {
    for (block_.append(l, m, distance); l + m != 0; block_.append(l, m, distance)) {
      if (!writer_.write(block_)) return false;
      block_.begin(block_.raw().data() + block_.raw().size());
    }
    return true;
  }

  std::span<const std::uint8_t> source_;
  std::uint32_t distance_ = 0;  // of the last match; 0 before the first
  MatchFinder& finder_;
  Block& block_;
  BlockWriter& writer_;
};

}  // namespace

std::size_t encode(std::span<std::uint8_t> destination, std::span<const std::uint8_t> source,
                   Workspace& workspace) noexcept {
  BlockWriter writer(destination, source.data() + source.size(), workspace.literals);
  return Parser(source, workspace, writer).run() ? writer.finish() : 0;
}

}  // namespace quillbrook::Codec::StreamEncoder
