// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <span>

#include "Compression/EncodingPlan.h"
#include "Compression/EngineError.h"
#include "Compression/FileCompressor.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"
#include "Platform/FileSystem.h"

// The four ways to build a finished file beside the user's and swap it in. Each is a strict order: the payload goes on
// before the flag, what is read back is what every program will read, and the marker goes last. A failing step ends
// the operation with its error; the user's file is unchanged then, and the work file is removed.
namespace quillbrook::Replacement {

// One file under its lock.
struct Subject {
  const FilePath& url;
  const FileStatus& snapshot;  // from when the lock was taken; restored from and compared with
  const LockableFile& lock;
  const FileCompressor::BeforeSwap& beforeSwap;
  FileSystem& fileSystem;
};

// Whether a later look shows the same file, unwritten since the earlier one.
[[nodiscard]] bool isSame(const FileStatus& before, const FileStatus& now);

// Whether the path still names the file of the snapshot, unwritten since, and the lock on it holds.
[[nodiscard]] bool isUnchanged(const Subject& subject);

[[nodiscard]] std::expected<void, EngineError> compressInMemory(const Subject& subject,
                                                                const FileCompressor::EncodingPlan& plan);
[[nodiscard]] std::expected<void, EngineError> compressStreaming(const Subject& subject);

[[nodiscard]] std::expected<void, FileCompressionError> decompressInMemory(const Subject& subject,
                                                                           std::span<const std::uint8_t> bytes);
[[nodiscard]] std::expected<void, FileCompressionError> decompressStreaming(const Subject& subject);

}  // namespace quillbrook::Replacement
