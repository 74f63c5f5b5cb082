// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FileSystem.h"

namespace quillbrook {

// The file system of this machine, with compressed files as ../Container describes them and volumes as VolumePath does.
class NativeFileSystem : public FileSystem {
 public:
  Result<FileStatus> lstat(const FilePath& path) override;
  Result<void> chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) override;
  Result<void> chmod(const FilePath& path, std::uint32_t mode) override;
  Result<void> chflags(const FilePath& path, std::uint32_t flags) override;
  Result<void> setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) override;
  Result<void> setCreationTime(const FilePath& path, Timestamp creation) override;
  Result<std::size_t> getxattr(const FilePath& path, std::string_view name, std::span<std::uint8_t> value,
                               XattrOptions options) override;
  Result<void> setxattr(const FilePath& path, std::string_view name, std::span<const std::uint8_t> value,
                        XattrOptions options) override;
  Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions options) override;
  Result<std::size_t> listxattr(const FilePath& path, std::span<char> names, XattrOptions options) override;
  Result<void> copyACL(const FilePath& source, const FilePath& destination) override;
  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override;
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override;
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override;
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override;
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& lock) override;
  Result<void> unlink(const FilePath& path) override;
};

}  // namespace quillbrook
