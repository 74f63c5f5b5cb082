// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Container/ByteSource.h"
#include "Container/ContainerState.h"

namespace quillbrook {

// The stored bytes of a sealed container, value and fork together, each byte verified against the checksum of its
// span before anyone sees it. Immutable once made: any number of threads may read at once, each with a window of its
// own.
class ContainerPayload {
 public:
  // The spans that a thread read last, verified. Serves one payload after another.
  class Window {
    friend class ContainerPayload;
    std::uint64_t payloadIdentifier_ = 0;  // 0: empty
    std::uint64_t firstSpan_ = 0;
    std::size_t byteCount_ = 0;
    std::vector<std::uint8_t> bytes_;  // never made shorter, so that nothing is cleared that is read next
  };

  [[nodiscard]] std::size_t spanCount() const { return checksums_.size(); }

  // Reads the checksums. `inputOutput` if they are not all there. The source must outlive the payload.
  [[nodiscard]] static Result<ContainerPayload> open(const ByteSource& source, const ContainerState& state);

  // `count` bytes from `offset` on, which lie within the payload; valid until the window's next use. Where it has to
  // read, it goes on towards `wantedEnd`, in pieces of 1 MiB. `inputOutput` if anything that was read does not match.
  [[nodiscard]] Result<std::span<const std::uint8_t>> view(std::uint64_t offset, std::size_t count,
                                                           std::uint64_t wantedEnd, Window& window) const;

  // Copies instead: fills `destination`, which lies within the payload.
  [[nodiscard]] Result<void> read(std::uint64_t offset, std::span<std::uint8_t> destination) const;

 private:
  ContainerPayload(const ByteSource& source, std::uint64_t byteCount, std::vector<std::uint32_t> checksums);

  const ByteSource* source_;
  std::uint64_t identifier_;  // unique in this process, so that a window cannot mistake one payload for another
  std::uint64_t byteCount_;
  std::vector<std::uint32_t> checksums_;
};

}  // namespace quillbrook
