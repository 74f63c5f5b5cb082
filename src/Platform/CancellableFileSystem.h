// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <utility>

#include "Platform/ForwardingFileSystem.h"

namespace quillbrook {

// The file system of one operation on one file, as seen by a command that can be stopped. Once `stop` is requested,
// every further read and write of data answers `cancelled`, on open readers and writers too, and nothing is put into
// another file's place any more; what cleans up still works. So the engine abandons the file by itself, whole.
// Attributes, owner, mode and times pass: the engine forgives their loss, so refusing one could only do harm.
// Belongs to the thread of that operation.
class CancellableFileSystem final : public ForwardingFileSystem {
 public:
  // `onRead`, if there is one, hears of the bytes read from files opened for reading, on the reading thread.
  CancellableFileSystem(FileSystem& inner, std::stop_token stop, std::function<void(std::size_t)> onRead = {})
      : ForwardingFileSystem(inner), stop_(std::move(stop)), onRead_(std::move(onRead)) {}

  // Whether anything was answered with `cancelled`.
  [[nodiscard]] bool hasRefused() const { return hasRefused_; }

  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override;
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override;
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override;
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override;
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& lock) override;

 private:
  class Reader;
  class Writer;

  // True, and noted, once the command is to stop.
  [[nodiscard]] bool refuses();

  std::stop_token stop_;
  std::function<void(std::size_t)> onRead_;
  bool hasRefused_ = false;
};

}  // namespace quillbrook
