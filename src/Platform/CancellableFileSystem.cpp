// SPDX-License-Identifier: MIT
#include "Platform/CancellableFileSystem.h"

#include <utility>

namespace quillbrook {

class CancellableFileSystem::Reader final : public FileReader {
 public:
  Reader(std::unique_ptr<FileReader> inner, CancellableFileSystem& owner) : inner_(std::move(inner)), owner_(owner) {}

  Result<std::size_t> read(std::span<std::uint8_t> destination) override {
    if (owner_.refuses()) return std::unexpected(ErrorNumber::cancelled);
    auto count = inner_->read(destination);
    if (count && owner_.onRead_) owner_.onRead_(*count);
    return count;
  }

 private:
  std::unique_ptr<FileReader> inner_;
  CancellableFileSystem& owner_;
};

class CancellableFileSystem::Writer final : public FileWriter {
 public:
  Writer(std::unique_ptr<FileWriter> inner, CancellableFileSystem& owner) : inner_(std::move(inner)), owner_(owner) {}

  Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
    if (owner_.refuses()) return std::unexpected(ErrorNumber::cancelled);
    return inner_->write(bytes);
  }
  Result<std::uint64_t> lseek(std::uint64_t position) override { return inner_->lseek(position); }
  Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
    return inner_->fsetxattr(name, value);
  }
  Result<void> close() override { return inner_->close(); }

 private:
  std::unique_ptr<FileWriter> inner_;
  CancellableFileSystem& owner_;
};

bool CancellableFileSystem::refuses() {
  if (!stop_.stop_requested()) return false;
  hasRefused_ = true;
  return true;
}

Result<std::unique_ptr<FileWriter>> CancellableFileSystem::createExclusively(const FilePath& path, std::uint32_t mode,
                                                                             const FilePath& like) {
  if (refuses()) return std::unexpected(ErrorNumber::cancelled);
  auto writer = ForwardingFileSystem::createExclusively(path, mode, like);
  if (!writer) return writer;
  return std::make_unique<Writer>(*std::move(writer), *this);
}

Result<std::unique_ptr<FileWriter>> CancellableFileSystem::openResourceFork(const FilePath& path) {
  if (refuses()) return std::unexpected(ErrorNumber::cancelled);
  auto writer = ForwardingFileSystem::openResourceFork(path);
  if (!writer) return writer;
  return std::make_unique<Writer>(*std::move(writer), *this);
}

Result<std::unique_ptr<FileReader>> CancellableFileSystem::openForReading(const FilePath& path) {
  if (refuses()) return std::unexpected(ErrorNumber::cancelled);
  auto reader = ForwardingFileSystem::openForReading(path);
  if (!reader) return reader;
  return std::make_unique<Reader>(*std::move(reader), *this);
}

Result<std::unique_ptr<LockableFile>> CancellableFileSystem::openForLocking(const FilePath& path) {
  if (refuses()) return std::unexpected(ErrorNumber::cancelled);
  return ForwardingFileSystem::openForLocking(path);
}

Result<void> CancellableFileSystem::rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                                           const LockableFile& lock) {
  if (refuses()) return std::unexpected(ErrorNumber::cancelled);
  return ForwardingFileSystem::rename(work, target, expected, lock);
}

}  // namespace quillbrook
