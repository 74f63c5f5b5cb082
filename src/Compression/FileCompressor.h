// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>

#include "Compression/CompressionResult.h"
#include "Compression/EngineError.h"
#include "Compression/FileCompressionError.h"
#include "Compression/Header/PayloadLimits.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"

// Turns one ordinary file into a transparently compressed one and back. The file is never written in place: a
// complete, verified replacement is built beside it, given all of its metadata, and swapped in by one rename. Until
// then, and after every failure before it, the user's file is whole and unchanged.
//
// Both operations block their thread until they end and have no point of cancellation. Any number may run at once on
// different files; on the same file the second gets `fileInUse`.
namespace quillbrook::FileCompressor {

// Files of this size or more are worked on block by block instead of in memory.
inline constexpr std::int64_t defaultStreamingThreshold = 16'777'216;

// What a file is read by while it is worked on block by block.
inline constexpr std::size_t streamingPieceByteCount = 4'194'304;

// The largest file that the format holds.
inline constexpr std::int64_t maximumFileByteCount = PayloadLimits::maximumFileByteCount;

// Runs immediately before the last look at the file; a failure stops the operation like any other.
using BeforeSwap = std::function<std::expected<void, FileCompressionError>()>;

[[nodiscard]] std::expected<CompressionResult, EngineError> compress(
    const FilePath& url, std::int64_t streamingThreshold = defaultStreamingThreshold,
    const BeforeSwap& beforeSwap = nullptr, FileSystem& fileSystem = FileSystem::native());

// The content comes from the platform, which decodes it: any compressed file can be decompressed, whatever its type.
[[nodiscard]] std::expected<CompressionResult, FileCompressionError> decompress(
    const FilePath& url, std::int64_t streamingThreshold = defaultStreamingThreshold,
    const BeforeSwap& beforeSwap = nullptr, FileSystem& fileSystem = FileSystem::native());

}  // namespace quillbrook::FileCompressor
