// SPDX-License-Identifier: MIT
#include "Compression/WorkFile.h"

#include <array>

#include "Compression/EngineLog.h"

namespace quillbrook::WorkFile {
namespace {

constexpr std::uint32_t mode = 0600;
constexpr std::array<std::uint8_t, 1> markerValue{0x01};

bool isOwnDebris(const FilePath& workFile, FileSystem& fileSystem) {
  const auto status = fileSystem.lstat(workFile);
  if (!status || status->kind != FileKind::regular) return false;
  return fileSystem.getxattr(workFile, marker, {}, {.noFollow = true}).has_value();
}

}  // namespace

FilePath url(const FilePath& target) {
  return target.appendingExtension(pathExtension);
}

std::expected<std::unique_ptr<FileWriter>, FileCompressionError> createWorkFile(const FilePath& workFile,
                                                                                const FilePath& source,
                                                                                FileSystem& fileSystem) {
  auto writer = fileSystem.createExclusively(workFile, mode, source);
  if (!writer && writer.error() == ErrorNumber::exists) {
    if (!isOwnDebris(workFile, fileSystem)) return std::unexpected(TemporaryFileConflict{workFile});
    engineLog.write(LogLevel::standard, "removing stale slimtmp debris at %{private}s", {workFile.bytes()});
    if (auto removed = fileSystem.unlink(workFile); !removed) {
      return std::unexpected(IOError::numbered(workFile, "unlink stale slimtmp", removed.error()));
    }
    writer = fileSystem.createExclusively(workFile, mode, source);
    // Somebody else was quicker: only one removal is tried.
    if (!writer && writer.error() == ErrorNumber::exists) return std::unexpected(TemporaryFileConflict{workFile});
  }
  if (!writer) return std::unexpected(IOError::numbered(workFile, "create slimtmp", writer.error()));
  if (auto marked = (*writer)->fsetxattr(marker, markerValue); !marked) {
    engineLog.write(LogLevel::standard, "slimtmp marker setxattr failed for %{private}s: errno=%d",
                    {workFile.bytes(), marked.error().value});
  }
  return std::move(*writer);
}

Result<void> writeWhole(std::span<const std::uint8_t> bytes, FileWriter& writer) {
  while (!bytes.empty()) {
    const auto count = writer.write(bytes);
    if (count) {
      bytes = bytes.subspan(*count);
    } else if (count.error() != ErrorNumber::interrupted) {
      return std::unexpected(count.error());
    }
  }
  return {};
}

std::expected<void, FileCompressionError> writeAll(std::span<const std::uint8_t> bytes, FileWriter& writer,
                                                   const FilePath& workFile) {
  if (auto written = writeWhole(bytes, writer); !written) {
    return std::unexpected(IOError::numbered(workFile, "write rsrc fork", written.error()));
  }
  return {};
}

std::expected<void, FileCompressionError> writeAttribute(const FilePath& workFile, std::string_view name,
                                                         std::span<const std::uint8_t> value, FileSystem& fileSystem) {
  if (auto written = fileSystem.setxattr(workFile, name, value, {}); !written) {
    return std::unexpected(IOError::numbered(workFile, "setxattr", written.error()));
  }
  return {};
}

void removeWorkFile(const FilePath& workFile, FileSystem& fileSystem) {
  [[maybe_unused]] const auto removed = fileSystem.unlink(workFile);
}

}  // namespace quillbrook::WorkFile
