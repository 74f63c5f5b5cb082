// SPDX-License-Identifier: MIT
#include "Compression/Replacement.h"

#include <memory>
#include <utility>

#include "Compression/ByteBuffer.h"
#include "Compression/DecmpfsResourceForkStream.h"
#include "Compression/EngineLog.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/MetadataCarryOver.h"
#include "Compression/Try.h"
#include "Compression/Verification.h"
#include "Compression/WorkFile.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::Replacement {
namespace {

using Step = std::expected<void, FileCompressionError>;

// Creates the work file and lets `build` make it the user's file; removes it again if that fails.
template <typename Build>
auto replacing(const Operation& operation, Build build)
    -> std::invoke_result_t<Build, std::unique_ptr<FileWriter>, const FilePath&> {
  const FilePath workFile = WorkFile::url(operation.url);
  auto writer = WorkFile::createWorkFile(workFile, operation.url, operation.fileSystem);
  if (!writer) return std::unexpected(writer.error());
  auto result = build(std::move(*writer), workFile);
  if (!result) WorkFile::removeWorkFile(workFile, operation.fileSystem);
  return result;
}

Step carryOver(const Operation& operation, const FilePath& workFile) {
  MetadataCarryOver::copyOwner(workFile, operation.snapshot, operation.fileSystem);
  QUILLBROOK_TRY(MetadataCarryOver::copyExtendedAttributes(operation.url, workFile, operation.fileSystem));
  MetadataCarryOver::copyACL(operation.url, workFile, operation.fileSystem);
  return {};
}

Step finish(const Operation& operation, const FilePath& workFile, std::uint32_t flags) {
  MetadataCarryOver::setFileTimes(workFile, operation.snapshot, operation.fileSystem);
  MetadataCarryOver::setCreationTime(workFile, operation.snapshot, operation.fileSystem);
  MetadataCarryOver::setMode(workFile, operation.snapshot, operation.fileSystem);
  return MetadataCarryOver::setFlags(workFile, flags, operation.fileSystem);
}

Step swapIntoPlace(const Operation& operation, const FilePath& workFile) {
  if (operation.beforeSwap) QUILLBROOK_TRY(operation.beforeSwap());
  if (!isUnchanged(operation)) return std::unexpected(FileChangedDuringOperation{operation.url});
  const auto unmarked = operation.fileSystem.removexattr(workFile, WorkFile::marker, {.noFollow = true});
  if (!unmarked && unmarked.error() != ErrorNumber::attributeMissing) {
    engineLog.write(LogLevel::standard, "slimtmp marker removexattr failed for %{private}s: errno=%d",
                    {workFile.bytes(), unmarked.error().value});
  }
  const auto swapped = operation.fileSystem.rename(workFile, operation.url, operation.snapshot, operation.lock);
  if (!swapped) return std::unexpected(IOError::numbered(operation.url, "rename", swapped.error()));
  return {};
}

// Whatever was written and could not be kept shows here at the latest.
Step closeAfterWriting(FileWriter& writer, const FilePath& workFile) {
  if (auto closed = writer.close(); !closed) {
    return std::unexpected(IOError::worded(workFile, "close slimtmp", closed.error()));
  }
  return {};
}

// Fills the work file with the source's content and closes it. Returns the number of bytes.
std::expected<std::int64_t, FileCompressionError> copyDecompressedStream(const FilePath& source,
                                                                         std::unique_ptr<FileWriter> writer,
                                                                         const FilePath& workFile,
                                                                         FileSystem& fileSystem) {
  const auto reader = fileSystem.openForReading(source);
  if (!reader) return std::unexpected(IOError::named(source, "open compressed for streaming", reader.error()));
  ByteBuffer chunk(FileCompressor::streamingPieceByteCount);
  std::int64_t total = 0;
  for (;;) {
    const auto count = (*reader)->read(chunk);
    if (!count) return std::unexpected(IOError::worded(source, "read compressed", count.error()));
    if (*count == 0) break;
    if (auto written = WorkFile::writeWhole(std::span(chunk).first(*count), *writer); !written) {
      return std::unexpected(IOError::worded(workFile, "write slimtmp", written.error()));
    }
    total += static_cast<std::int64_t>(*count);
  }
  QUILLBROOK_TRY(closeAfterWriting(*writer, workFile));
  return total;
}

}  // namespace

bool isUnchanged(const Operation& operation) {
  const FileStatus& before = operation.snapshot;
  const auto now = operation.fileSystem.lstat(operation.url);
  return now && now->st_dev == before.st_dev && now->st_ino == before.st_ino && now->st_size == before.st_size &&
         now->st_mtimespec == before.st_mtimespec && operation.lock.isHeld();
}

std::expected<void, EngineError> compressInMemory(const Operation& operation,
                                                  const FileCompressor::EncodingPlan& plan) {
  const auto build = [&](std::unique_ptr<FileWriter> writer,
                         const FilePath& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = operation.fileSystem;
    writer.reset();  // nothing is written to the data fork
    QUILLBROOK_TRY(carryOver(operation, workFile));
    QUILLBROOK_TRY(WorkFile::writeAttribute(workFile, ReservedNames::decmpfs, plan.decmpfsXattr, fileSystem));
    if (plan.resourceFork) {
      QUILLBROOK_TRY(WorkFile::writeAttribute(workFile, ReservedNames::resourceFork, *plan.resourceFork, fileSystem));
    }
    QUILLBROOK_TRY(finish(operation, workFile, operation.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(swapIntoPlace(operation, workFile));
    return {};
  };
  return replacing(operation, build);
}

std::expected<void, EngineError> compressStreaming(const Operation& operation) {
  const auto build = [&](std::unique_ptr<FileWriter> writer,
                         const FilePath& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = operation.fileSystem;
    const auto byteCount = static_cast<std::uint64_t>(operation.snapshot.st_size);
    writer.reset();
    QUILLBROOK_TRY(carryOver(operation, workFile));
    QUILLBROOK_TRY(WorkFile::writeAttribute(workFile, ReservedNames::decmpfs,
                                            DecmpfsHeader::encode(CompressionType::lzfseRsrc, byteCount), fileSystem));
    const auto digest = DecmpfsResourceFork::streamEncode(operation.url, workFile, byteCount, fileSystem);
    if (!digest) return std::unexpected(digest.error());
    QUILLBROOK_TRY(finish(operation, workFile, operation.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(Verification::verifyReadback(workFile, *digest, byteCount, operation.url, fileSystem));
    MetadataCarryOver::setFileTimes(workFile, operation.snapshot, fileSystem);  // reading back has touched them
    QUILLBROOK_TRY(swapIntoPlace(operation, workFile));
    return {};
  };
  return replacing(operation, build);
}

std::expected<void, FileCompressionError> decompressInMemory(const Operation& operation,
                                                             std::span<const std::uint8_t> bytes) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, const FilePath& workFile) -> Step {
    QUILLBROOK_TRY(WorkFile::writeAll(bytes, *writer, workFile));
    QUILLBROOK_TRY(closeAfterWriting(*writer, workFile));
    writer.reset();
    QUILLBROOK_TRY(carryOver(operation, workFile));
    QUILLBROOK_TRY(finish(operation, workFile, operation.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(operation, workFile);
  };
  return replacing(operation, build);
}

std::expected<void, FileCompressionError> decompressStreaming(const Operation& operation) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, const FilePath& workFile) -> Step {
    const auto count = copyDecompressedStream(operation.url, std::move(writer), workFile, operation.fileSystem);
    if (!count) return std::unexpected(count.error());
    if (*count != operation.snapshot.st_size) return std::unexpected(RoundtripVerificationFailed{operation.url});
    QUILLBROOK_TRY(carryOver(operation, workFile));
    QUILLBROOK_TRY(finish(operation, workFile, operation.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(operation, workFile);
  };
  return replacing(operation, build);
}

}  // namespace quillbrook::Replacement
