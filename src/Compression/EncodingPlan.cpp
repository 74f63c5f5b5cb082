// SPDX-License-Identifier: MIT
#include "Compression/EncodingPlan.h"

#include <utility>

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/LZFSE.h"

namespace quillbrook::FileCompressor {
namespace {

EncodingPlan forkPlan(std::size_t fileByteCount, ByteBuffer fork) {
  const auto header = DecmpfsHeader::encode(CompressionType::lzfseRsrc, fileByteCount);
  return {CompressionType::lzfseRsrc, ByteBuffer(header.begin(), header.end()), std::move(fork)};
}

}  // namespace

std::expected<EncodingPlan, EngineError> makeEncodingPlan(std::span<const std::uint8_t> bytes, const FilePath& url) {
  static_assert(maximumInlineFileByteCount <= DecmpfsResourceFork::blockByteCount);
  if (bytes.size() > maximumInlineFileByteCount) {
    auto fork = DecmpfsResourceFork::encode(bytes);
    if (!fork) return std::unexpected(passedThrough(fork.error()));
    return forkPlan(bytes.size(), std::move(*fork));
  }
  const auto stream = LZFSE::encode(bytes);
  if (!stream) return std::unexpected(stream.error());
  auto value = DecmpfsInline::valueOfStream(*stream, bytes.size());
  // Too long for an attribute. The file is one block, and its chunk is at hand.
  if (!value) return forkPlan(bytes.size(), DecmpfsResourceFork::forkOfOneChunk(*stream));
  // The stream is held against the file; the header does not count.
  if (stream->size() >= bytes.size()) return std::unexpected(FileCompressionError(CompressionDidNotReduceSize{url}));
  return EncodingPlan{CompressionType::lzfseAttr, std::move(*value), std::nullopt};
}

}  // namespace quillbrook::FileCompressor
