// SPDX-License-Identifier: MIT
#include "Compression/OpeningChecks.h"

namespace quillbrook::OpeningChecks {

std::expected<FileStatus, FileCompressionError> preflight(const FilePath& url, FileSystem& fileSystem) {
  const auto status = fileSystem.lstat(url);
  if (!status) {
    if (status.error() == ErrorNumber::noEntry) return std::unexpected(FileNotFound{url});
    return std::unexpected(IOError::numbered(url, "lstat", status.error()));
  }
  if (status->kind == FileKind::symbolicLink) return std::unexpected(SymbolicLink{url});
  if (status->kind != FileKind::regular) return std::unexpected(NotARegularFile{url});
  if (status->st_nlink >= 2) {
    return std::unexpected(HardLinked{.url = url, .nlink = static_cast<std::int64_t>(status->st_nlink)});
  }
  return *status;
}

std::expected<std::unique_ptr<LockableFile>, FileCompressionError> acquireLock(const FilePath& url,
                                                                               FileSystem& fileSystem) {
  auto file = fileSystem.openForLocking(url);
  if (!file) {
    if (file.error() == ErrorNumber::noEntry) return std::unexpected(FileNotFound{url});
    return std::unexpected(IOError::numbered(url, "open", file.error()));
  }
  if (auto locked = (*file)->flock(); !locked) {
    if (locked.error() == ErrorNumber::wouldBlock) return std::unexpected(FileInUse{url});
    return std::unexpected(IOError::numbered(url, "flock", locked.error()));
  }
  return std::move(*file);
}

}  // namespace quillbrook::OpeningChecks
