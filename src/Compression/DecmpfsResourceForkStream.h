// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <expected>

#include "Compression/EngineError.h"
#include "Compression/Sha256.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"

namespace quillbrook::DecmpfsResourceFork {

// Reads `fileByteCount` bytes of `source`, writes them as the fork of `workFile` and returns the digest of what was
// read. Holds one block, its chunk and its decoded copy at a time; every chunk is decoded again and compared before it
// is written. Fails with a FileCompressionError or an LZFSEError, and leaves a partly written fork then.
[[nodiscard]] std::expected<Sha256::Digest, EngineError> streamEncode(const FilePath& source, const FilePath& workFile,
                                                                      std::size_t fileByteCount,
                                                                      FileSystem& fileSystem = FileSystem::native());

}  // namespace quillbrook::DecmpfsResourceFork
