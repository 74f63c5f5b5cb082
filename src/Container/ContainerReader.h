// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "Compression/Header/PayloadLimits.h"
#include "Container/ByteSource.h"
#include "Container/ContainerPayload.h"
#include "Container/ContainerState.h"
#include "Container/PayloadLayout.h"

namespace quillbrook {

// Reads the logical bytes of a sealed container. Immutable once made: any number of threads may read at once, each
// with a scratch of its own. Every span of stored bytes that a read touches is verified against its checksum; what
// does not match, or does not decode to exactly what its header promises, is `inputOutput`, never wrong bytes.
class ContainerReader {
 public:
  static constexpr std::size_t blockByteCount = PayloadLimits::blockByteCount;

  // What one thread needs while it reads; kept between reads to avoid allocation, and it remembers the last block.
  // May serve one reader after another.
  class Scratch {
   public:
    Scratch();
    ~Scratch();
    Scratch(Scratch&&) noexcept;
    Scratch& operator=(Scratch&&) noexcept;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

   private:
    friend class ContainerReader;
    struct Buffers;
    std::unique_ptr<Buffers> buffers_;
  };

  // Reads and checks header, offset table and checksums. `notSupported` for types that nobody here can decode (6, 13,
  // 14) and for an unknown type; `inputOutput` for anything damaged or missing, for a container that is not sealed and
  // for one whose content is a redo copy. What stands behind the checksums is not looked at: neither a lost trailer
  // nor appended bytes make the content unreadable. The source must outlive the reader.
  [[nodiscard]] static Result<std::unique_ptr<const ContainerReader>> open(const ByteSource& source,
                                                                           const ContainerState& state);

  [[nodiscard]] std::uint64_t logicalByteCount() const { return logicalByteCount_; }
  // Nothing but zeros, of which a few stored bytes may promise more than any disk has.
  [[nodiscard]] bool isAllZeros() const { return layout_.coding == PayloadLayout::Coding::zeros; }

  // Fills as much of `destination` as there is from the logical `offset` on, decoding only the blocks it touches;
  // whole blocks are decoded straight into `destination`. 0 at or behind the end.
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination,
                                         Scratch& scratch) const;

  // One entry for each span of the stored bytes: whether reading everything verifies it.
  [[nodiscard]] std::vector<bool> contentSpans() const;

 private:
  ContainerReader(ContainerPayload payload, PayloadLayout layout, std::uint64_t logicalByteCount);

  // Fills `destination`, which is exactly the block's size.
  [[nodiscard]] Result<void> decodeBlock(std::uint64_t index, std::uint64_t wantedEnd,
                                         std::span<std::uint8_t> destination, Scratch& scratch) const;

  ContainerPayload payload_;
  PayloadLayout layout_;
  std::uint64_t logicalByteCount_;
  std::uint64_t identifier_;  // unique in this process, so that a scratch cannot mistake one reader for another
};

}  // namespace quillbrook
