// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <span>

#include "Compression/ByteBuffer.h"
#include "Compression/EngineError.h"
#include "Compression/Header/CompressionType.h"
#include "Platform/FilePath.h"

namespace quillbrook::FileCompressor {

// Files longer than this go to the resource fork without an attempt at the attribute.
inline constexpr std::size_t maximumInlineFileByteCount = 16'384;

// How a file held in memory will be stored.
struct EncodingPlan {
  CompressionType algorithm = CompressionType::lzfseRsrc;  // or lzfseAttr
  ByteBuffer decmpfsXattr;                                 // the whole value of com.apple.decmpfs
  std::optional<ByteBuffer> resourceFork;                  // present exactly for lzfseRsrc

  friend bool operator==(const EncodingPlan&, const EncodingPlan&) = default;
};

// Settles attribute or fork and encodes `bytes`. The attribute is refused with `compressionDidNotReduceSize` when its
// stream is not shorter than the file; the fork takes whatever comes, also what grows.
[[nodiscard]] std::expected<EncodingPlan, EngineError> makeEncodingPlan(std::span<const std::uint8_t> bytes,
                                                                        const FilePath& url);

}  // namespace quillbrook::FileCompressor
