// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <span>

#include "Compression/ByteBuffer.h"
#include "Compression/FileCompressionInfo.h"
#include "Compression/FileCompressionInspectionError.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"

// In what compression state is a path, how long is it logically, how much does it occupy. Reads no
// content: of the data at most the attribute that is kept there. Changes nothing and keeps nothing between calls; any
// thread.
namespace quillbrook::FileCompressionInspector {

// Regular files below this are not worth compressing.
inline constexpr std::uint64_t minimumEligibleByteCount = 4'096;

// The path itself, not what a final symbolic link points to. One lstat unless the file is compressed.
[[nodiscard]] std::expected<FileCompressionInfo, FileCompressionInspectionError> inspect(
    const FilePath& url, FileSystem& fileSystem = FileSystem::native());

// The same for one of which a walk has just told this. Where the payload came along, nobody is asked again and nothing
// is opened: what inspection tells is then what the file's state says, not verified.
[[nodiscard]] std::expected<FileCompressionInfo, FileCompressionInspectionError> inspect(
    const FilePath& url, const FileStatus& status, FileSystem& fileSystem = FileSystem::native());

// The bytes of com.apple.decmpfs, nothing if there is no such attribute.
[[nodiscard]] std::expected<std::optional<ByteBuffer>, FileCompressionInspectionError> readDecmpfsAttribute(
    const FilePath& url, FileSystem& fileSystem = FileSystem::native());

// The part of inspect that needs no platform. A clear flag gives `uncompressed`: eligibility needs more than is given.
[[nodiscard]] std::expected<FileCompressionInfo, FileCompressionInspectionError> classify(
    std::uint32_t st_flags, std::optional<std::span<const std::uint8_t>> decmpfsAttribute, std::uint64_t logicalSize,
    std::uint64_t physicalSize);

}  // namespace quillbrook::FileCompressionInspector
