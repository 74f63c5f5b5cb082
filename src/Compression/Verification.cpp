// SPDX-License-Identifier: MIT
#include "Compression/Verification.h"

#include <utility>

#include "Compression/ByteBuffer.h"
#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/FileCompressor.h"

namespace quillbrook::Verification {
namespace {

std::expected<ByteBuffer, EngineError> decode(const FileCompressor::EncodingPlan& plan, std::size_t byteCount) {
  if (plan.resourceFork) {
    auto bytes = DecmpfsResourceFork::decode(*plan.resourceFork, byteCount);
    if (!bytes) return std::unexpected(passedThrough(bytes.error()));
    return std::move(*bytes);
  }
  auto bytes = DecmpfsInline::decode(plan.decmpfsXattr);
  if (!bytes) return std::unexpected(passedThrough(bytes.error()));
  return std::move(*bytes);
}

}  // namespace

std::expected<void, EngineError> verifyRoundTrip(std::span<const std::uint8_t> source,
                                                 const FileCompressor::EncodingPlan& plan, const FilePath& url) {
  const auto decoded = decode(plan, source.size());
  if (!decoded) return std::unexpected(decoded.error());
  if (Sha256::hash(source) != Sha256::hash(*decoded)) {
    return std::unexpected(FileCompressionError(RoundtripVerificationFailed{url}));
  }
  return {};
}

std::expected<void, FileCompressionError> verifyReadback(const FilePath& workFile, const Sha256::Digest& expectedDigest,
                                                         std::uint64_t expectedByteCount, const FilePath& url,
                                                         FileSystem& fileSystem) {
  const auto reader = fileSystem.openForReading(workFile);
  if (!reader) return std::unexpected(IOError::named(workFile, "open for readback verification", reader.error()));
  Sha256 hash;
  std::uint64_t total = 0;
  ByteBuffer chunk(FileCompressor::streamingPieceByteCount);
  for (;;) {
    const auto count = (*reader)->read(chunk);
    if (!count) return std::unexpected(IOError::worded(workFile, "readback", count.error()));
    if (*count == 0) break;
    hash.update(std::span(chunk).first(*count));
    total += *count;
  }
  if (total != expectedByteCount) return std::unexpected(RoundtripVerificationFailed{url});
  if (hash.finalize() != expectedDigest) return std::unexpected(RoundtripVerificationFailed{url});
  return {};
}

}  // namespace quillbrook::Verification
