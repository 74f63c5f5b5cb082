// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "Platform/FileSystem.h"

namespace quillbrook {

// Passes every operation on to another file system, which must outlive it: the base of those that change only some.
class ForwardingFileSystem : public FileSystem {
 public:
  explicit ForwardingFileSystem(FileSystem& inner) : inner_(inner) {}

  Result<FileStatus> lstat(const FilePath& path) override { return inner_.lstat(path); }
  Result<void> chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) override {
    return inner_.chown(path, owner, group);
  }
  Result<void> chmod(const FilePath& path, std::uint32_t mode) override { return inner_.chmod(path, mode); }
  Result<void> chflags(const FilePath& path, std::uint32_t flags) override { return inner_.chflags(path, flags); }
  Result<void> setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) override {
    return inner_.setFileTimes(path, access, modification);
  }
  Result<void> setCreationTime(const FilePath& path, Timestamp creation) override {
    return inner_.setCreationTime(path, creation);
  }
  Result<std::size_t> getxattr(const FilePath& path, std::string_view name, std::span<std::uint8_t> value,
                               XattrOptions options) override {
    return inner_.getxattr(path, name, value, options);
  }
  Result<void> setxattr(const FilePath& path, std::string_view name, std::span<const std::uint8_t> value,
                        XattrOptions options) override {
    return inner_.setxattr(path, name, value, options);
  }
  Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions options) override {
    return inner_.removexattr(path, name, options);
  }
  Result<std::size_t> listxattr(const FilePath& path, std::span<char> names, XattrOptions options) override {
    return inner_.listxattr(path, names, options);
  }
  Result<void> copyACL(const FilePath& source, const FilePath& destination) override {
    return inner_.copyACL(source, destination);
  }
  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override {
    return inner_.createExclusively(path, mode, like);
  }
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override {
    return inner_.openResourceFork(path);
  }
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override {
    return inner_.openForReading(path);
  }
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override {
    return inner_.openForLocking(path);
  }
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& lock) override {
    return inner_.rename(work, target, expected, lock);
  }
  Result<void> unlink(const FilePath& path) override { return inner_.unlink(path); }

 private:
  FileSystem& inner_;
};

}  // namespace quillbrook
