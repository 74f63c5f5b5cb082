// SPDX-License-Identifier: MIT
#include "Compression/Replacement.h"

#include <memory>
#include <utility>

#include "Compression/ByteBuffer.h"
#include "Compression/CompressionAttributes.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/EngineLog.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Compression/MetadataCarryOver.h"
#include "Compression/Try.h"
#include "Compression/Verification.h"
#include "Compression/WorkFile.h"

namespace quillbrook::Replacement {
namespace {

constexpr std::size_t readChunkByteCount = 4'194'304;

using Step = std::expected<void, FileCompressionError>;

// A work file that goes again unless it is let go: when it has become the user's file, or when another file may stand
// at its name.
class PendingWorkFile {
 public:
  PendingWorkFile(const Operation& operation, FilePath url) : operation_(operation), url_(std::move(url)) {}
  ~PendingWorkFile() {
    if (isOurs_) WorkFile::removeWorkFile(url_, operation_.fileSystem);
  }
  PendingWorkFile(const PendingWorkFile&) = delete;
  PendingWorkFile& operator=(const PendingWorkFile&) = delete;

  [[nodiscard]] const FilePath& url() const { return url_; }
  void letGo() { isOurs_ = false; }

 private:
  const Operation& operation_;
  FilePath url_;
  bool isOurs_ = true;
};

// Creates the work file and lets `build` make it the user's file; removes it again if that fails.
template <typename Build>
auto replacing(const Operation& operation, Build build)
    -> std::invoke_result_t<Build, std::unique_ptr<FileWriter>, PendingWorkFile&> {
  const FilePath url = WorkFile::url(operation.url);
  auto writer = WorkFile::createWorkFile(url, operation.url, operation.fileSystem);
  if (!writer) return std::unexpected(writer.error());
  PendingWorkFile workFile(operation, url);
  return build(std::move(*writer), workFile);
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

Step swapIntoPlace(const Operation& operation, PendingWorkFile& workFile) {
  if (operation.beforeSwap) QUILLBROOK_TRY(operation.beforeSwap());
  if (!isUnchanged(operation)) return std::unexpected(FileChangedDuringOperation{operation.url});
  const auto unmarked = operation.fileSystem.removexattr(workFile.url(), WorkFile::marker, {.noFollow = true});
  if (!unmarked && unmarked.error() != ErrorNumber::attributeMissing) {
    engineLog.write(LogLevel::standard, "slimtmp marker removexattr failed for %{private}s: errno=%d",
                    {workFile.url().bytes(), unmarked.error().value});
  }
  const auto swapped = operation.fileSystem.rename(workFile.url(), operation.url, operation.snapshot, operation.lock);
  if (swapped || swapped.error() == ErrorNumber::notRecoverable) workFile.letGo();
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
  if (!reader) return std::unexpected(IOError{source, "open compressed for streaming"});
  ByteBuffer chunk(readChunkByteCount);
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
                         PendingWorkFile& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = operation.fileSystem;
    writer.reset();  // nothing is written to the data fork
    QUILLBROOK_TRY(carryOver(operation, workFile.url()));
    QUILLBROOK_TRY(
        WorkFile::writeAttribute(workFile.url(), CompressionAttributes::decmpfs, plan.decmpfsXattr, fileSystem));
    if (plan.resourceFork) {
      QUILLBROOK_TRY(WorkFile::writeAttribute(workFile.url(), CompressionAttributes::resourceFork, *plan.resourceFork,
                                              fileSystem));
    }
    QUILLBROOK_TRY(finish(operation, workFile.url(), operation.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(swapIntoPlace(operation, workFile));
    return {};
  };
  return replacing(operation, build);
}

std::expected<void, EngineError> compressStreaming(const Operation& operation) {
  const auto build = [&](std::unique_ptr<FileWriter> writer,
                         PendingWorkFile& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = operation.fileSystem;
    const auto byteCount = static_cast<std::uint64_t>(operation.snapshot.st_size);
    writer.reset();
    QUILLBROOK_TRY(carryOver(operation, workFile.url()));
    QUILLBROOK_TRY(WorkFile::writeAttribute(workFile.url(), CompressionAttributes::decmpfs,
                                            DecmpfsHeader::encode(CompressionType::lzfseRsrc, byteCount), fileSystem));
    const auto digest = DecmpfsResourceFork::streamEncode(operation.url, workFile.url(), byteCount, fileSystem);
    if (!digest) return std::unexpected(digest.error());
    QUILLBROOK_TRY(finish(operation, workFile.url(), operation.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(Verification::verifyReadback(workFile.url(), *digest, byteCount, operation.url, fileSystem));
    MetadataCarryOver::setFileTimes(workFile.url(), operation.snapshot, fileSystem);  // reading back has touched them
    QUILLBROOK_TRY(swapIntoPlace(operation, workFile));
    return {};
  };
  return replacing(operation, build);
}

std::expected<void, FileCompressionError> decompressInMemory(const Operation& operation,
                                                             std::span<const std::uint8_t> bytes) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, PendingWorkFile& workFile) -> Step {
    QUILLBROOK_TRY(WorkFile::writeAll(bytes, *writer, workFile.url()));
    QUILLBROOK_TRY(closeAfterWriting(*writer, workFile.url()));
    writer.reset();
    QUILLBROOK_TRY(carryOver(operation, workFile.url()));
    QUILLBROOK_TRY(finish(operation, workFile.url(), operation.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(operation, workFile);
  };
  return replacing(operation, build);
}

std::expected<void, FileCompressionError> decompressStreaming(const Operation& operation) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, PendingWorkFile& workFile) -> Step {
    const auto count = copyDecompressedStream(operation.url, std::move(writer), workFile.url(), operation.fileSystem);
    if (!count) return std::unexpected(count.error());
    if (*count != operation.snapshot.st_size) return std::unexpected(RoundtripVerificationFailed{operation.url});
    QUILLBROOK_TRY(carryOver(operation, workFile.url()));
    QUILLBROOK_TRY(finish(operation, workFile.url(), operation.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(operation, workFile);
  };
  return replacing(operation, build);
}

}  // namespace quillbrook::Replacement
