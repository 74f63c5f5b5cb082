// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <string_view>

#include "Compression/FileCompressionError.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/ReservedNames.h"

// The replacement while it is being built: a file beside the user's, carrying a marker that says that it is this
// system's own debris should it ever be found left over. A file of its name without the marker is somebody else's and
// is never removed.
namespace quillbrook::WorkFile {

inline constexpr std::string_view pathExtension = ReservedNames::workFileExtension;
inline constexpr std::string_view marker = ReservedNames::workFileMarker;

// Where the work file of `target` lies: in the same folder, hence on the same volume.
[[nodiscard]] FilePath url(const FilePath& target);

// Creates it, empty and marked, with mode 0600. What was left over by an earlier operation is removed first, once.
// `source` is the file that it will stand in for.
[[nodiscard]] std::expected<std::unique_ptr<FileWriter>, FileCompressionError> createWorkFile(const FilePath& workFile,
                                                                                              const FilePath& source,
                                                                                              FileSystem& fileSystem);

// Writes all of `bytes` at the writer's position, whatever pieces it takes.
[[nodiscard]] Result<void> writeWhole(std::span<const std::uint8_t> bytes, FileWriter& writer);

// The same, with the failure in words that the data fork and the resource fork share.
[[nodiscard]] std::expected<void, FileCompressionError> writeAll(std::span<const std::uint8_t> bytes,
                                                                 FileWriter& writer, const FilePath& workFile);

// Sets an attribute that the operation cannot do without.
[[nodiscard]] std::expected<void, FileCompressionError> writeAttribute(const FilePath& workFile, std::string_view name,
                                                                       std::span<const std::uint8_t> value,
                                                                       FileSystem& fileSystem);

// Removes it if that can be done; the failure that led here is what is reported.
void removeWorkFile(const FilePath& workFile, FileSystem& fileSystem);

}  // namespace quillbrook::WorkFile
