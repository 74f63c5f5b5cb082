// SPDX-License-Identifier: MIT
#include "Compression/EncodingPlan.h"

#include <utility>

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/LZFSE.h"

namespace quillbrook::FileCompressor {
namespace {

// The plan for the attribute; nothing if the value would be too long for one.
std::expected<std::optional<EncodingPlan>, EngineError> inlinePlan(std::span<const std::uint8_t> bytes,
                                                                   const FilePath& url) {
  auto value = DecmpfsInline::encodeLZFSE(bytes);
  if (!value) {
    if (std::holds_alternative<DecmpfsInlineError>(value.error())) return std::nullopt;
    return std::unexpected(passedThrough(value.error()));
  }
  // The stream is held against the file; the header does not count.
  if (value->size() - DecmpfsHeader::byteCount >= bytes.size()) {
    return std::unexpected(FileCompressionError(CompressionDidNotReduceSize{url}));
  }
  return EncodingPlan{CompressionType::lzfseAttr, std::move(*value), std::nullopt};
}

}  // namespace

std::expected<EncodingPlan, EngineError> makeEncodingPlan(std::span<const std::uint8_t> bytes, const FilePath& url) {
  if (bytes.size() <= maximumInlineFileByteCount) {
    auto plan = inlinePlan(bytes, url);
    if (!plan) return std::unexpected(plan.error());
    if (*plan) return std::move(**plan);
  }
  auto fork = DecmpfsResourceFork::encode(bytes);
  if (!fork) return std::unexpected(passedThrough(fork.error()));
  const auto header = DecmpfsHeader::encode(CompressionType::lzfseRsrc, bytes.size());
  return EncodingPlan{CompressionType::lzfseRsrc, ByteBuffer(header.begin(), header.end()), std::move(*fork)};
}

}  // namespace quillbrook::FileCompressor
