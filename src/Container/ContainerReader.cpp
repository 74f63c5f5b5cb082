// SPDX-License-Identifier: MIT
#include "Container/ContainerReader.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "Codec/Compression.h"
#include "Codec/Lzvn.h"

namespace quillbrook {
namespace {

using Coding = PayloadLayout::Coding;

std::uint64_t newIdentifier() {
  static std::atomic<std::uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

bool copyStored(std::span<const std::uint8_t> chunk, std::span<std::uint8_t> destination) {
  if (chunk.size() < destination.size()) return false;  // surplus is harmless: the size is what the header says
  std::ranges::copy(chunk.first(destination.size()), destination.begin());
  return true;
}

bool decodeZlib(std::span<const std::uint8_t> chunk, std::span<std::uint8_t> destination) {
  auto count = static_cast<uLongf>(destination.size());
  const auto outcome = uncompress(destination.data(), &count, chunk.data(), static_cast<uLong>(chunk.size()));
  return outcome == Z_OK && count == destination.size();
}

// Whether exactly the block came out. Neither span is empty.
bool decode(Coding coding, std::span<const std::uint8_t> chunk, std::span<std::uint8_t> destination) {
  switch (coding) {
    case Coding::zeros: std::ranges::fill(destination, std::uint8_t{0}); return true;
    case Coding::stored: return copyStored(chunk, destination);
    case Coding::markedStored: return chunk[0] == 0xFF && copyStored(chunk.subspan(1), destination);
    case Coding::bytePrefixed: return copyStored(chunk.subspan(1), destination);
    case Coding::zlib:
      if ((chunk[0] & 0x0F) == 0x0F) return copyStored(chunk.subspan(1), destination);
      return decodeZlib(chunk, destination);
    case Coding::lzvn:
      if (chunk[0] == 0x06) return copyStored(chunk.subspan(1), destination);
      return Lzvn::decode(destination, chunk) == destination.size();
    case Coding::lzfse:
      return compression_decode_buffer(destination, chunk, {}, COMPRESSION_LZFSE) == destination.size();
  }
  return false;
}

}  // namespace

struct ContainerReader::Scratch::Buffers {
  ContainerPayload::Window window;
  std::uint64_t readerIdentifier = 0;  // whose block `block` holds; 0: nobody's
  std::uint64_t blockIndex = 0;
  std::vector<std::uint8_t> block;
};

ContainerReader::Scratch::Scratch() : buffers_(std::make_unique<Buffers>()) {}
ContainerReader::Scratch::~Scratch() = default;
ContainerReader::Scratch::Scratch(Scratch&&) noexcept = default;
ContainerReader::Scratch& ContainerReader::Scratch::operator=(Scratch&&) noexcept = default;

ContainerReader::ContainerReader(ContainerPayload payload, PayloadLayout layout, std::uint64_t logicalByteCount)
    : payload_(std::move(payload)),
      layout_(std::move(layout)),
      logicalByteCount_(logicalByteCount),
      identifier_(newIdentifier()) {}

Result<std::unique_ptr<const ContainerReader>> ContainerReader::open(const ByteSource& source,
                                                                     const ContainerState& state) {
  if (!state.isSealed() || state.redoIdentifier != 0) return std::unexpected(ErrorNumber::inputOutput);
  auto payload = ContainerPayload::open(source, state);
  if (!payload) return std::unexpected(payload.error());
  auto layout = PayloadLayout::read(*payload, state);
  if (!layout) return std::unexpected(layout.error());
  return std::unique_ptr<const ContainerReader>(
      new ContainerReader(std::move(*payload), std::move(*layout), state.logicalByteCount));
}

std::vector<bool> ContainerReader::contentSpans() const {
  std::vector<bool> spans(payload_.spanCount(), false);
  spans.front() = true;  // the header's
  for (const auto& chunk : layout_.chunks) {
    const auto begin = layout_.base + chunk.offset;
    const auto last = begin + chunk.byteCount - 1;
    for (auto i = begin / ContainerState::spanByteCount; i <= last / ContainerState::spanByteCount; ++i) {
      spans[static_cast<std::size_t>(i)] = true;
    }
  }
  return spans;
}

Result<void> ContainerReader::decodeBlock(std::uint64_t index, std::uint64_t wantedEnd,
                                          std::span<std::uint8_t> destination, Scratch& scratch) const {
  const auto& chunk = layout_.chunks[static_cast<std::size_t>(index)];
  const auto stored = payload_.view(layout_.base + chunk.offset, chunk.byteCount, wantedEnd, scratch.buffers_->window);
  if (!stored) return std::unexpected(stored.error());
  if (!decode(layout_.coding, *stored, destination)) return std::unexpected(ErrorNumber::inputOutput);
  return {};
}

Result<std::size_t> ContainerReader::read(std::uint64_t offset, std::span<std::uint8_t> destination,
                                          Scratch& scratch) const {
  if (offset >= logicalByteCount_) return 0;
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(destination.size(), logicalByteCount_ - offset));
  destination = destination.first(count);
  if (layout_.coding == Coding::zeros) {
    std::ranges::fill(destination, std::uint8_t{0});
    return count;
  }
  if (count == 0) return 0;

  auto& buffers = *scratch.buffers_;
  const auto& lastChunk = layout_.chunks[static_cast<std::size_t>((offset + count - 1) / layout_.blockByteCount)];
  const auto wantedEnd = layout_.base + lastChunk.offset + lastChunk.byteCount;
  while (!destination.empty()) {
    const auto index = offset / layout_.blockByteCount;
    const auto start = index * layout_.blockByteCount;
    const auto size = static_cast<std::size_t>(std::min(layout_.blockByteCount, logicalByteCount_ - start));
    const auto within = static_cast<std::size_t>(offset - start);
    const auto piece = destination.first(std::min(destination.size(), size - within));
    const bool isRemembered = buffers.readerIdentifier == identifier_ && buffers.blockIndex == index;
    if (piece.size() == size && !isRemembered) {
      if (const auto decoded = decodeBlock(index, wantedEnd, piece, scratch); !decoded) {
        return std::unexpected(decoded.error());
      }
    } else {
      if (!isRemembered) {
        buffers.readerIdentifier = 0;
        buffers.block.resize(size);
        if (const auto decoded = decodeBlock(index, wantedEnd, buffers.block, scratch); !decoded) {
          return std::unexpected(decoded.error());
        }
        buffers.readerIdentifier = identifier_;
        buffers.blockIndex = index;
      }
      std::ranges::copy(std::span(buffers.block).subspan(within, piece.size()), piece.begin());
    }
    destination = destination.subspan(piece.size());
    offset += piece.size();
  }
  return count;
}

}  // namespace quillbrook
