// SPDX-License-Identifier: MIT
#include "Compression/MetadataCarryOver.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "Compression/ByteBuffer.h"
#include "Compression/EngineLog.h"
#include "Platform/ReservedNames.h"

namespace quillbrook::MetadataCarryOver {
namespace {

constexpr std::array notCarriedOver{ReservedNames::decmpfs, ReservedNames::resourceFork};

void logFailure(std::string_view format, const FilePath& workFile, ErrorNumber error) {
  engineLog.write(LogLevel::standard, format, {workFile.bytes(), error.value});
}

std::vector<std::string> split(std::string_view names) {
  std::vector<std::string> result;
  while (!names.empty()) {
    const std::string_view name = names.substr(0, names.find('\0'));
    names.remove_prefix(std::min(name.size() + 1, names.size()));
    if (!name.empty() && FilePath(std::string(name)).isUtf8()) result.emplace_back(name);
  }
  return result;
}

std::expected<std::vector<std::string>, FileCompressionError> listxattr(const FilePath& source,
                                                                        FileSystem& fileSystem) {
  const auto length = fileSystem.listxattr(source, {}, {});
  if (!length) {
    if (length.error() == ErrorNumber::notSupported) return {};
    return std::unexpected(IOError::numbered(source, "listxattr size", length.error()));
  }
  if (*length == 0) return {};
  std::string names(*length, '\0');
  const auto count = fileSystem.listxattr(source, names, {});
  if (!count) return std::unexpected(IOError::numbered(source, "listxattr read", count.error()));
  return split(std::string_view(names).substr(0, *count));
}

// One attribute's way across. The failing step's word and number, if one fails.
struct LostAttribute {
  std::string_view step;
  ErrorNumber error;
};
std::expected<void, LostAttribute> copyAttribute(const FilePath& source, const FilePath& workFile,
                                                 const std::string& name, FileSystem& fileSystem) {
  const auto length = fileSystem.getxattr(source, name, {}, {});
  if (!length) return std::unexpected(LostAttribute{"getxattr size", length.error()});
  if (*length == 0) {
    const auto written = fileSystem.setxattr(workFile, name, {}, {});
    if (!written) return std::unexpected(LostAttribute{"setxattr empty", written.error()});
    return {};
  }
  ByteBuffer value(*length, 0);
  const auto count = fileSystem.getxattr(source, name, value, {});
  if (!count) return std::unexpected(LostAttribute{"getxattr value", count.error()});
  const auto written = fileSystem.setxattr(workFile, name, std::span(value).first(*count), {});
  if (!written) return std::unexpected(LostAttribute{"setxattr", written.error()});
  return {};
}

}  // namespace

void copyOwner(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem) {
  if (auto done = fileSystem.chown(workFile, snapshot.st_uid, snapshot.st_gid); !done) {
    logFailure("chown failed for %{private}s: errno=%d", workFile, done.error());
  }
}

std::expected<void, FileCompressionError> copyExtendedAttributes(const FilePath& source, const FilePath& workFile,
                                                                 FileSystem& fileSystem) {
  const auto names = listxattr(source, fileSystem);
  if (!names) return std::unexpected(names.error());
  for (const std::string& name : *names) {
    if (std::ranges::find(notCarriedOver, name) != notCarriedOver.end()) continue;
    if (auto copied = copyAttribute(source, workFile, name, fileSystem); !copied) {
      engineLog.write(LogLevel::standard, "xattr copy failed (%{public}s %{public}s) for %{private}s: errno=%d",
                      {copied.error().step, name, source.bytes(), copied.error().error.value});
    }
  }
  return {};
}

void copyACL(const FilePath& source, const FilePath& workFile, FileSystem& fileSystem) {
  if (auto done = fileSystem.copyACL(source, workFile); !done) {
    logFailure("ACL copy failed for %{private}s: errno=%d", workFile, done.error());
  }
}

void setFileTimes(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem) {
  if (auto done = fileSystem.setFileTimes(workFile, snapshot.st_atimespec, snapshot.st_mtimespec); !done) {
    logFailure("utimensat failed for %{private}s: errno=%d", workFile, done.error());
  }
}

void setCreationTime(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem) {
  // Many file systems cannot, so there is nothing to tell.
  [[maybe_unused]] const auto done = fileSystem.setCreationTime(workFile, snapshot.st_birthtimespec);
}

void setMode(const FilePath& workFile, const FileStatus& snapshot, FileSystem& fileSystem) {
  if (auto done = fileSystem.chmod(workFile, snapshot.st_mode & 0xFFF); !done) {
    logFailure("chmod failed for %{private}s: errno=%d", workFile, done.error());
  }
}

std::expected<void, FileCompressionError> setFlags(const FilePath& workFile, std::uint32_t flags,
                                                   FileSystem& fileSystem) {
  const auto done = fileSystem.chflags(workFile, flags);
  if (done || (flags & UF_COMPRESSED) == 0) return {};
  if (done.error() != ErrorNumber::notPermitted) {
    return std::unexpected(IOError::numbered(workFile, "chflags", done.error()));
  }
  if (auto fallback = fileSystem.chflags(workFile, flags & userSettableFlags); !fallback) {
    return std::unexpected(IOError::numbered(workFile, "chflags fallback", fallback.error()));
  }
  return {};
}

}  // namespace quillbrook::MetadataCarryOver
