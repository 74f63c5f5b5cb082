// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>

#include "Compression/EncodingPlan.h"
#include "Compression/EngineError.h"
#include "Compression/Sha256.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"

// Proof, before any user's file is replaced, that a compressed form gives back exactly what it was made from.
namespace quillbrook::Verification {

// Decodes the plan with this system's own decoders and compares digests. No file exists yet.
[[nodiscard]] std::expected<void, EngineError> verifyRoundTrip(std::span<const std::uint8_t> source,
                                                               const FileCompressor::EncodingPlan& plan,
                                                               const FilePath& url);

// Reads the finished work file as every other program would and compares count and digest. Holds 4 MiB.
[[nodiscard]] std::expected<void, FileCompressionError> verifyReadback(const FilePath& workFile,
                                                                       const Sha256::Digest& expectedDigest,
                                                                       std::uint64_t expectedByteCount,
                                                                       const FilePath& url, FileSystem& fileSystem);

}  // namespace quillbrook::Verification
