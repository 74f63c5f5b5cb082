// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ForwardingFileSystem.h"

namespace quillbrook {

// A file system that numbers every call, also those on what it opens, and lets a test fail each of them.
// For one thread.
class FaultyFileSystem : public ForwardingFileSystem {
 public:
  // One call as the test sees it.
  struct Call {
    std::size_t number = 0;  // from 0, over all operations
    std::string operation;   // as "getxattr", "read", "flock"
    FilePath path;
    std::string attribute;  // of the attribute calls

    [[nodiscard]] std::string label() const { return operation + (attribute.empty() ? "" : " " + attribute); }
  };
  // Asked before each call: the error that it is to give instead of being made. An isHeld that fails says no.
  using Fault = std::function<std::optional<ErrorNumber>(const Call&)>;

  FaultyFileSystem(FileSystem& inner, Fault fault) : ForwardingFileSystem(inner), fault_(std::move(fault)) {}

  // No read or write moves more than this.
  std::size_t largestTransfer = static_cast<std::size_t>(-1);

  [[nodiscard]] const std::vector<Call>& calls() const { return calls_; }

  // Counts a call and says what it is to fail with.
  std::optional<ErrorNumber> next(std::string_view operation, const FilePath& path, std::string_view attribute = {});

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

 private:
  Fault fault_;
  std::vector<Call> calls_;
};

}  // namespace quillbrook
