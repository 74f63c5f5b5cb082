// SPDX-License-Identifier: MIT
#include "Compression/DecmpfsResourceForkStream.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "Compression/DecmpfsResourceFork.h"
#include "Compression/LZFSE.h"
#include "Compression/Try.h"
#include "Compression/WorkFile.h"

namespace quillbrook::DecmpfsResourceFork {
namespace {

// Fills `block`, whatever pieces the reader gives.
std::expected<void, FileCompressionError> readExactly(FileReader& reader, std::span<std::uint8_t> block,
                                                      const FilePath& source) {
  std::size_t got = 0;
  while (got < block.size()) {
    const auto count = reader.read(block.subspan(got));
    if (!count) return std::unexpected(IOError::worded(source, "read source", count.error()));
    if (*count == 0) {
      return std::unexpected(IOError{
          source, "unexpected EOF (got " + std::to_string(got) + ", expected " + std::to_string(block.size()) + ")"});
    }
    got += *count;
  }
  return {};
}

// The buffers of one block, reused for all of them.
class BlockEncoder {
 public:
  [[nodiscard]] std::span<std::uint8_t> block(std::size_t byteCount) { return std::span(block_).first(byteCount); }

  // The chunk of `block`, valid until the next call, proved to decode to it.
  [[nodiscard]] std::expected<std::span<const std::uint8_t>, EngineError> encode(std::span<const std::uint8_t> block,
                                                                                 const FilePath& source) {
    const std::size_t chunkLength = LZFSE::encodeInto(chunk_, block);
    if (chunkLength == 0) return std::unexpected(LZFSEError(EncodeFailed{}));
    const auto chunk = std::span(chunk_).first(chunkLength);
    const auto decoded = std::span(decoded_).first(block.size());
    const std::size_t count = LZFSE::decodeInto(decoded, chunk);
    if (count != block.size()) {
      return std::unexpected(LZFSEError(DecodeFailed{.expectedBytes = static_cast<std::int64_t>(block.size()),
                                                     .gotBytes = static_cast<std::int64_t>(count)}));
    }
    if (std::memcmp(decoded.data(), block.data(), block.size()) != 0) {
      return std::unexpected(FileCompressionError(RoundtripVerificationFailed{source}));
    }
    return chunk;
  }

 private:
  ByteBuffer block_ = ByteBuffer(blockByteCount);
  ByteBuffer chunk_ = ByteBuffer(blockByteCount + LZFSE::encodeHeadroom);
  ByteBuffer decoded_ = ByteBuffer(blockByteCount);
};

}  // namespace

std::expected<Sha256::Digest, EngineError> streamEncode(const FilePath& source, const FilePath& workFile,
                                                        std::size_t fileByteCount, FileSystem& fileSystem) {
  const auto reader = fileSystem.openForReading(source);
  if (!reader)
    return std::unexpected(FileCompressionError(IOError::named(source, "open source for streaming", reader.error())));
  const auto fork = fileSystem.openResourceFork(workFile);
  if (!fork) return std::unexpected(FileCompressionError(IOError::numbered(workFile, "open rsrc fork", fork.error())));

  // The lengths of the chunks are known only once they are written, and the table stands before them.
  const std::size_t tableLength = tableByteCount(fileByteCount);
  QUILLBROOK_TRY(WorkFile::writeAll(ByteBuffer(tableLength, 0), **fork, workFile));
  std::vector<std::uint32_t> offsets;
  offsets.reserve(blockCount(fileByteCount) + 1);
  offsets.push_back(static_cast<std::uint32_t>(tableLength));

  Sha256 hash;
  BlockEncoder encoder;
  std::size_t total = 0;
  for (std::size_t i = 0; i < blockCount(fileByteCount); ++i) {
    const auto block = encoder.block(std::min(blockByteCount, fileByteCount - i * blockByteCount));
    QUILLBROOK_TRY(readExactly(**reader, block, source));
    total += block.size();
    hash.update(block);
    const auto chunk = encoder.encode(block, source);
    if (!chunk) return std::unexpected(chunk.error());
    QUILLBROOK_TRY(WorkFile::writeAll(*chunk, **fork, workFile));
    offsets.push_back(offsets.back() + static_cast<std::uint32_t>(chunk->size()));
  }
  if (total != fileByteCount) {
    return std::unexpected(
        FileCompressionError(IOError{source, "source size changed during compression (read " + std::to_string(total) +
                                                 ", expected " + std::to_string(fileByteCount) + ")"}));
  }

  const auto position = (*fork)->lseek(0);
  if (!position || *position != 0) {
    const ErrorNumber error = position ? ErrorNumber::invalid : position.error();
    return std::unexpected(FileCompressionError(IOError::numbered(workFile, "lseek rsrc fork", error)));
  }
  QUILLBROOK_TRY(WorkFile::writeAll(offsetTable(offsets), **fork, workFile));
  // Here shows what could not be kept of the writes so far.
  if (auto closed = (*fork)->close(); !closed) {
    return std::unexpected(FileCompressionError(IOError::numbered(workFile, "close rsrc fork", closed.error())));
  }
  return hash.finalize();
}

}  // namespace quillbrook::DecmpfsResourceFork
