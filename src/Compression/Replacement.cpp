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

// A work file that goes again unless it is let go: when it has become the user's file, or when another file may stand
// at its name.
class PendingWorkFile {
 public:
  PendingWorkFile(const Subject& subject, FilePath url) : subject_(subject), url_(std::move(url)) {}
  ~PendingWorkFile() {
    if (isOurs_) WorkFile::removeWorkFile(url_, subject_.fileSystem);
  }
  PendingWorkFile(const PendingWorkFile&) = delete;
  PendingWorkFile& operator=(const PendingWorkFile&) = delete;

  [[nodiscard]] const FilePath& url() const { return url_; }
  void letGo() { isOurs_ = false; }

 private:
  const Subject& subject_;
  FilePath url_;
  bool isOurs_ = true;
};

// Creates the work file and lets `build` make it the user's file; removes it again if that fails.
template <typename Build>
auto replacing(const Subject& subject, Build build)
    -> std::invoke_result_t<Build, std::unique_ptr<FileWriter>, PendingWorkFile&> {
  const FilePath url = WorkFile::url(subject.url);
  auto writer = WorkFile::createWorkFile(url, subject.url, subject.fileSystem);
  if (!writer) return std::unexpected(writer.error());
  PendingWorkFile workFile(subject, url);
  return build(std::move(*writer), workFile);
}

Step carryOver(const Subject& subject, const FilePath& workFile) {
  MetadataCarryOver::copyOwner(workFile, subject.snapshot, subject.fileSystem);
  QUILLBROOK_TRY(MetadataCarryOver::copyExtendedAttributes(subject.url, workFile, subject.fileSystem));
  MetadataCarryOver::copyACL(subject.url, workFile, subject.fileSystem);
  return {};
}

Step finish(const Subject& subject, const FilePath& workFile, std::uint32_t flags) {
  MetadataCarryOver::setFileTimes(workFile, subject.snapshot, subject.fileSystem);
  MetadataCarryOver::setCreationTime(workFile, subject.snapshot, subject.fileSystem);
  MetadataCarryOver::setMode(workFile, subject.snapshot, subject.fileSystem);
  return MetadataCarryOver::setFlags(workFile, flags, subject.fileSystem);
}

Step swapIntoPlace(const Subject& subject, PendingWorkFile& workFile) {
  if (subject.beforeSwap) QUILLBROOK_TRY(subject.beforeSwap());
  if (!isUnchanged(subject)) return std::unexpected(FileChangedDuringOperation{subject.url});
  const auto unmarked = subject.fileSystem.removexattr(workFile.url(), WorkFile::marker, {.noFollow = true});
  if (!unmarked && unmarked.error() != ErrorNumber::attributeMissing) {
    engineLog.write(LogLevel::standard, "slimtmp marker removexattr failed for %{private}s: errno=%d",
                    {workFile.url().bytes(), unmarked.error().value});
  }
  const auto swapped = subject.fileSystem.rename(workFile.url(), subject.url, subject.snapshot, subject.lock);
  if (swapped || swapped.error() == ErrorNumber::notRecoverable) workFile.letGo();
  if (!swapped) return std::unexpected(IOError::numbered(subject.url, "rename", swapped.error()));
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

bool isSame(const FileStatus& before, const FileStatus& now) {
  return now.st_dev == before.st_dev && now.st_ino == before.st_ino && now.st_size == before.st_size &&
         now.st_mtimespec == before.st_mtimespec;
}

bool isUnchanged(const Subject& subject) {
  const auto now = subject.fileSystem.lstat(subject.url);
  return now && isSame(subject.snapshot, *now) && subject.lock.isHeld();
}

std::expected<void, EngineError> compressInMemory(const Subject& subject, const FileCompressor::EncodingPlan& plan) {
  const auto build = [&](std::unique_ptr<FileWriter> writer,
                         PendingWorkFile& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = subject.fileSystem;
    writer.reset();  // nothing is written to the data fork
    QUILLBROOK_TRY(carryOver(subject, workFile.url()));
    QUILLBROOK_TRY(WorkFile::writeAttribute(workFile.url(), ReservedNames::decmpfs, plan.decmpfsXattr, fileSystem));
    if (plan.resourceFork) {
      QUILLBROOK_TRY(
          WorkFile::writeAttribute(workFile.url(), ReservedNames::resourceFork, *plan.resourceFork, fileSystem));
    }
    QUILLBROOK_TRY(finish(subject, workFile.url(), subject.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(swapIntoPlace(subject, workFile));
    return {};
  };
  return replacing(subject, build);
}

std::expected<void, EngineError> compressStreaming(const Subject& subject) {
  const auto build = [&](std::unique_ptr<FileWriter> writer,
                         PendingWorkFile& workFile) -> std::expected<void, EngineError> {
    FileSystem& fileSystem = subject.fileSystem;
    const auto byteCount = static_cast<std::uint64_t>(subject.snapshot.st_size);
    writer.reset();
    QUILLBROOK_TRY(carryOver(subject, workFile.url()));
    QUILLBROOK_TRY(WorkFile::writeAttribute(workFile.url(), ReservedNames::decmpfs,
                                            DecmpfsHeader::encode(CompressionType::lzfseRsrc, byteCount), fileSystem));
    const auto digest = DecmpfsResourceFork::streamEncode(subject.url, workFile.url(), byteCount, fileSystem);
    if (!digest) return std::unexpected(digest.error());
    QUILLBROOK_TRY(finish(subject, workFile.url(), subject.snapshot.st_flags | UF_COMPRESSED));
    QUILLBROOK_TRY(Verification::verifyReadback(workFile.url(), *digest, byteCount, subject.url, fileSystem));
    MetadataCarryOver::setFileTimes(workFile.url(), subject.snapshot, fileSystem);  // reading back has touched them
    QUILLBROOK_TRY(swapIntoPlace(subject, workFile));
    return {};
  };
  return replacing(subject, build);
}

std::expected<void, FileCompressionError> decompressInMemory(const Subject& subject,
                                                             std::span<const std::uint8_t> bytes) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, PendingWorkFile& workFile) -> Step {
    QUILLBROOK_TRY(WorkFile::writeAll(bytes, *writer, workFile.url()));
    QUILLBROOK_TRY(closeAfterWriting(*writer, workFile.url()));
    writer.reset();
    QUILLBROOK_TRY(carryOver(subject, workFile.url()));
    QUILLBROOK_TRY(finish(subject, workFile.url(), subject.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(subject, workFile);
  };
  return replacing(subject, build);
}

std::expected<void, FileCompressionError> decompressStreaming(const Subject& subject) {
  const auto build = [&](std::unique_ptr<FileWriter> writer, PendingWorkFile& workFile) -> Step {
    const auto count = copyDecompressedStream(subject.url, std::move(writer), workFile.url(), subject.fileSystem);
    if (!count) return std::unexpected(count.error());
    if (*count != subject.snapshot.st_size) return std::unexpected(RoundtripVerificationFailed{subject.url});
    QUILLBROOK_TRY(carryOver(subject, workFile.url()));
    QUILLBROOK_TRY(finish(subject, workFile.url(), subject.snapshot.st_flags & ~UF_COMPRESSED));
    return swapIntoPlace(subject, workFile);
  };
  return replacing(subject, build);
}

}  // namespace quillbrook::Replacement
