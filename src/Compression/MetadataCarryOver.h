// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>

#include "Compression/FileCompressionError.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"
#include "Platform/FileSystem.h"

// Gives the work file the identity of the file that it will replace. A step that returns nothing cannot stop the
// operation: what is lost there is told in the log, and content is never at stake.
namespace quillbrook::MetadataCarryOver {

void copyOwner(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem);

// Everything that the source lists, but for the two payload attributes. Only a failing listing is a failure; names
// that are not valid UTF-8 are left out.
[[nodiscard]] std::expected<void, FileCompressionError> copyExtendedAttributes(const FilePath& source,
                                                                               const FilePath& workFile,
                                                                               FileSystem& fileSystem);

void copyACL(const FilePath& source, const FilePath& workFile, FileSystem& fileSystem);

void setFileTimes(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem);

void setCreationTime(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem);

void setMode(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem);

// With UF_COMPRESSED among `flags` a failure counts; where only the super-user's flags are refused, they are given up.
// Without it every failure is ignored.
[[nodiscard]] std::expected<void, FileCompressionError> setFlags(const FilePath& workFile, std::uint32_t flags,
                                                                 FileSystem& fileSystem);

}  // namespace quillbrook::MetadataCarryOver
