// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <memory>

#include "Compression/FileCompressionError.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"
#include "Platform/FileSystem.h"

// What every operation looks at before it touches a file's content.
namespace quillbrook::OpeningChecks {

// The state of a file that may be worked on: regular, with one name. An operation keeps it to its end, restores from
// it and compares with it.
[[nodiscard]] std::expected<FileStatus, FileCompressionError> preflight(const FilePath& url, FileSystem& fileSystem);

// Keeps other operations and cooperating programs away for as long as the result lives.
[[nodiscard]] std::expected<std::unique_ptr<LockableFile>, FileCompressionError> acquireLock(const FilePath& url,
                                                                                             FileSystem& fileSystem);

}  // namespace quillbrook::OpeningChecks
