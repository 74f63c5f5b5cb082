// SPDX-License-Identifier: MIT
#include "Compression/FileCompressor.h"

#include <optional>

#include "Compression/ByteBuffer.h"
#include "Compression/EncodingPlan.h"
#include "Compression/OpeningChecks.h"
#include "Compression/Replacement.h"
#include "Compression/Try.h"
#include "Compression/Verification.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::FileCompressor {
namespace {

using Replacement::Subject;

bool hasResourceFork(const FilePath& url, FileSystem& fileSystem) {
  const auto length = fileSystem.getxattr(url, ReservedNames::resourceFork, {}, {.noFollow = true});
  return length && *length >= 1;
}

// The file's content. Of a file that has grown since, one byte more than was expected of it: enough to show.
std::expected<ByteBuffer, FileCompressionError> readWhole(const Subject& subject, std::string_view action) {
  const auto failed = [&](ErrorNumber error) {
    return std::unexpected(FileCompressionError(IOError::worded(subject.url, action, error)));
  };
  const auto reader = subject.fileSystem.openForReading(subject.url);
  if (!reader) return failed(reader.error());
  ByteBuffer bytes(static_cast<std::size_t>(subject.snapshot.st_size) + 1);
  std::size_t total = 0;
  while (total < bytes.size()) {
    const auto count = (*reader)->read(std::span(bytes).subspan(total));
    if (!count) return failed(count.error());
    if (*count == 0) break;
    total += *count;
  }
  bytes.resize(total);
  return bytes;
}

std::expected<CompressionType, EngineError> inMemoryCompress(const Subject& subject) {
  const auto bytes = readWhole(subject, "read source");
  if (!bytes) return std::unexpected(bytes.error());
  const auto plan = makeEncodingPlan(*bytes, subject.url);
  if (!plan) return std::unexpected(plan.error());
  QUILLBROOK_TRY(Verification::verifyRoundTrip(*bytes, *plan, subject.url));
  QUILLBROOK_TRY(Replacement::compressInMemory(subject, *plan));
  return plan->algorithm;
}

std::expected<CompressionType, EngineError> streamingCompress(const Subject& subject) {
  QUILLBROOK_TRY(Replacement::compressStreaming(subject));
  return CompressionType::lzfseRsrc;
}

std::expected<void, FileCompressionError> inMemoryDecompress(const Subject& subject) {
  const auto bytes = readWhole(subject, "read compressed");
  if (!bytes) return std::unexpected(bytes.error());
  if (bytes->size() != static_cast<std::size_t>(subject.snapshot.st_size)) {
    return std::unexpected(RoundtripVerificationFailed{subject.url});
  }
  return Replacement::decompressInMemory(subject, *bytes);
}

// The file as it is under the lock; nothing if it is another one by now. The lock may be on a file that another
// operation has just swapped out: two would then take the work file for theirs. Mode and owner may have changed since
// the first look, and what is carried over is what they are now.
std::optional<FileStatus> asLocked(const FilePath& url, const FileStatus& before, const LockableFile& lock,
                                   FileSystem& fileSystem) {
  const auto now = fileSystem.lstat(url);
  if (!now || !Replacement::isSame(before, *now) || !lock.isHeld()) return std::nullopt;
  return *now;
}

// Whether a name has come to lead to another file than the one that was locked or made, or the content to stand in
// another form.
bool leadsElsewhere(const FileCompressionError& error) {
  const auto* failure = std::get_if<IOError>(&error);
  return failure != nullptr && failure->call && failure->call->error == ErrorNumber::stale;
}

}  // namespace

std::expected<CompressionResult, EngineError> compress(const FilePath& url, std::int64_t streamingThreshold,
                                                       const BeforeSwap& beforeSwap, FileSystem& fileSystem) {
  const auto snapshot = OpeningChecks::preflight(url, fileSystem);
  if (!snapshot) return std::unexpected(snapshot.error());
  const auto refuse = [](FileCompressionError error) { return std::unexpected(EngineError(std::move(error))); };
  if ((snapshot->st_flags & UF_COMPRESSED) != 0) return refuse(AlreadyCompressed{url});
  if (snapshot->st_size > maximumFileByteCount) {
    return refuse(FileTooLargeForFormat{.url = url, .sizeBytes = snapshot->st_size});
  }
  if (hasResourceFork(url, fileSystem)) return refuse(HasResourceFork{url});
  const auto lock = OpeningChecks::acquireLock(url, fileSystem);
  if (!lock && leadsElsewhere(lock.error())) return refuse(FileChangedDuringOperation{url});
  if (!lock) return refuse(lock.error());

  const auto locked = asLocked(url, *snapshot, **lock, fileSystem);
  if (!locked) return refuse(FileChangedDuringOperation{url});
  const Subject subject{url, *locked, **lock, beforeSwap, fileSystem};
  const auto algorithm =
      snapshot->st_size >= streamingThreshold ? streamingCompress(subject) : inMemoryCompress(subject);
  if (!algorithm) {
    const auto* error = std::get_if<FileCompressionError>(&algorithm.error());
    if (error != nullptr && leadsElsewhere(*error)) return refuse(FileChangedDuringOperation{url});
    return std::unexpected(algorithm.error());
  }
  const auto after = OpeningChecks::preflight(url, fileSystem);
  if (!after) return std::unexpected(after.error());
  return CompressionResult{
      .url = url, .bytesBefore = snapshot->st_size, .bytesAfter = after->st_blocks * 512, .algorithm = *algorithm};
}

std::expected<CompressionResult, FileCompressionError> decompress(const FilePath& url, std::int64_t streamingThreshold,
                                                                  const BeforeSwap& beforeSwap,
                                                                  FileSystem& fileSystem) {
  const auto snapshot = OpeningChecks::preflight(url, fileSystem);
  if (!snapshot) return std::unexpected(snapshot.error());
  if ((snapshot->st_flags & UF_COMPRESSED) == 0) return std::unexpected(NotCompressed{url});
  const auto lock = OpeningChecks::acquireLock(url, fileSystem);
  if (!lock && leadsElsewhere(lock.error())) return std::unexpected(FileChangedDuringOperation{url});
  if (!lock) return std::unexpected(lock.error());

  const auto locked = asLocked(url, *snapshot, **lock, fileSystem);
  if (!locked) return std::unexpected(FileChangedDuringOperation{url});
  const Subject subject{url, *locked, **lock, beforeSwap, fileSystem};
  const auto done =
      snapshot->st_size >= streamingThreshold ? Replacement::decompressStreaming(subject) : inMemoryDecompress(subject);
  if (!done && leadsElsewhere(done.error())) return std::unexpected(FileChangedDuringOperation{url});
  if (!done) return std::unexpected(done.error());
  return CompressionResult{
      .url = url, .bytesBefore = snapshot->st_size, .bytesAfter = snapshot->st_size, .algorithm = std::nullopt};
}

}  // namespace quillbrook::FileCompressor
