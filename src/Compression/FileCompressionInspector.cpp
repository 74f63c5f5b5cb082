// SPDX-License-Identifier: MIT
#include "Compression/FileCompressionInspector.h"

#include <algorithm>

#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::FileCompressionInspector {
namespace {

constexpr std::uint64_t bytesPerBlock = 512;

constexpr XattrOptions showCompression{.noFollow = false, .showCompression = true};

bool isEligible(const FileStatus& status, std::uint64_t logicalSize) {
  return status.st_nlink < 2 && status.kind == FileKind::regular && logicalSize >= minimumEligibleByteCount;
}

// With the payload's attributes as they are now.
std::expected<FileCompressionInfo, FileCompressionInspectionError> inspectNow(const FilePath& url,
                                                                              const FileStatus& status,
                                                                              FileSystem& fileSystem) {
  const auto logicalSize = static_cast<std::uint64_t>(status.st_size);
  const std::uint64_t blocks = static_cast<std::uint64_t>(status.st_blocks) * bytesPerBlock;
  if ((status.st_flags & UF_COMPRESSED) == 0) {
    const bool eligible = isEligible(status, logicalSize);
    return FileCompressionInfo{.status = eligible ? FileCompressionStatus(Uncompressed{}) : Incompressible{},
                               .logicalSize = logicalSize,
                               .physicalSize = blocks};
  }
  const auto attribute = readDecmpfsAttribute(url, fileSystem);
  if (!attribute) return std::unexpected(attribute.error());
  const std::optional<ByteBuffer>& value = *attribute;
  const auto forkLength = fileSystem.getxattr(url, ReservedNames::resourceFork, {}, showCompression);
  // The payload can be more than the block count shows.
  const std::uint64_t payload = (value ? value->size() : 0) + forkLength.value_or(0);
  const std::uint64_t physicalSize = std::max(blocks, payload);
  if (!value) return classify(status.st_flags, std::nullopt, logicalSize, physicalSize);
  return classify(status.st_flags, *value, logicalSize, physicalSize);
}

}  // namespace

std::expected<FileCompressionInfo, FileCompressionInspectionError> inspect(const FilePath& url,
                                                                           FileSystem& fileSystem) {
  const auto status = fileSystem.lstat(url);
  if (!status) {
    if (status.error() == ErrorNumber::noEntry) return std::unexpected(FileNotFound{url});
    return std::unexpected(IOError::numbered(url, "lstat", status.error()));
  }
  return inspectNow(url, *status, fileSystem);
}

std::expected<FileCompressionInfo, FileCompressionInspectionError> inspect(const FilePath& url,
                                                                           const FileStatus& status,
                                                                           FileSystem& fileSystem) {
  if ((status.st_flags & UF_COMPRESSED) == 0 || !status.payload) return inspectNow(url, status, fileSystem);
  const auto& [bytes, valueByteCount, forkByteCount] = *status.payload;
  const auto head = std::span(bytes).first(std::min<std::size_t>(bytes.size(), valueByteCount));
  const std::uint64_t blocks = static_cast<std::uint64_t>(status.st_blocks) * bytesPerBlock;
  return classify(status.st_flags, valueByteCount == 0 ? std::nullopt : std::optional(head),
                  static_cast<std::uint64_t>(status.st_size), std::max(blocks, valueByteCount + forkByteCount));
}

std::expected<std::optional<ByteBuffer>, FileCompressionInspectionError> readDecmpfsAttribute(const FilePath& url,
                                                                                              FileSystem& fileSystem) {
  const auto length = fileSystem.getxattr(url, ReservedNames::decmpfs, {}, showCompression);
  if (!length) {
    if (length.error() == ErrorNumber::attributeMissing) return std::nullopt;
    return std::unexpected(IOError::numbered(url, "getxattr size", length.error()));
  }
  ByteBuffer value(*length, 0);
  if (value.empty()) return value;
  const auto count = fileSystem.getxattr(url, ReservedNames::decmpfs, value, showCompression);
  if (!count) return std::unexpected(IOError::numbered(url, "getxattr read", count.error()));
  value.resize(*count);
  return value;
}

std::expected<FileCompressionInfo, FileCompressionInspectionError> classify(
    std::uint32_t st_flags, std::optional<std::span<const std::uint8_t>> decmpfsAttribute, std::uint64_t logicalSize,
    std::uint64_t physicalSize) {
  const auto info = [&](const FileCompressionStatus& status) {
    return FileCompressionInfo{.status = status, .logicalSize = logicalSize, .physicalSize = physicalSize};
  };
  if ((st_flags & UF_COMPRESSED) == 0) return info(Uncompressed{});
  if (!decmpfsAttribute) return std::unexpected(DecmpfsHeaderMissingDespiteFlag{});
  const auto header = DecmpfsHeader::parse(*decmpfsAttribute);
  if (header) return info(Compressed{header->compressionType, header->uncompressedSize});
  if (header.error() == DecmpfsHeaderError(UnknownCompressionType{DecmpfsHeader::datalessRawValue})) {
    return info(DatalessCloud{});
  }
  return std::unexpected(DecmpfsHeaderInvalid{describe(header.error())});
}

}  // namespace quillbrook::FileCompressionInspector
