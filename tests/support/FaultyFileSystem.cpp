// SPDX-License-Identifier: MIT
#include "support/FaultyFileSystem.h"

#include <algorithm>
#include <utility>

namespace quillbrook {
namespace {

class FaultyReader : public FileReader {
 public:
  FaultyReader(FaultyFileSystem& fileSystem, FilePath path, std::unique_ptr<FileReader> inner)
      : fileSystem_(fileSystem), path_(std::move(path)), inner_(std::move(inner)) {}
  Result<std::size_t> read(std::span<std::uint8_t> destination) override {
    if (const auto error = fileSystem_.next("read", path_)) return std::unexpected(*error);
    return inner_->read(destination.first(std::min(destination.size(), fileSystem_.largestTransfer)));
  }

 private:
  FaultyFileSystem& fileSystem_;
  FilePath path_;
  std::unique_ptr<FileReader> inner_;
};

class FaultyWriter : public FileWriter {
 public:
  FaultyWriter(FaultyFileSystem& fileSystem, FilePath path, std::unique_ptr<FileWriter> inner)
      : fileSystem_(fileSystem), path_(std::move(path)), inner_(std::move(inner)) {}
  Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
    if (const auto error = fileSystem_.next("write", path_)) return std::unexpected(*error);
    return inner_->write(bytes.first(std::min(bytes.size(), fileSystem_.largestTransfer)));
  }
  Result<std::uint64_t> lseek(std::uint64_t position) override {
    if (const auto error = fileSystem_.next("lseek", path_)) return std::unexpected(*error);
    return inner_->lseek(position);
  }
  Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
    if (const auto error = fileSystem_.next("fsetxattr", path_, name)) return std::unexpected(*error);
    return inner_->fsetxattr(name, value);
  }
  Result<void> close() override {
    if (const auto error = fileSystem_.next("close", path_)) return std::unexpected(*error);
    return inner_->close();
  }

 private:
  FaultyFileSystem& fileSystem_;
  FilePath path_;
  std::unique_ptr<FileWriter> inner_;
};

class FaultyLock : public LockableFile {
 public:
  FaultyLock(FaultyFileSystem& fileSystem, FilePath path, std::unique_ptr<LockableFile> inner)
      : fileSystem_(fileSystem), path_(std::move(path)), inner_(std::move(inner)) {}
  Result<void> flock() override {
    if (const auto error = fileSystem_.next("flock", path_)) return std::unexpected(*error);
    return inner_->flock();
  }
  bool isHeld() const override { return !fileSystem_.next("isHeld", path_) && inner_->isHeld(); }
  [[nodiscard]] const LockableFile& inner() const { return *inner_; }

 private:
  FaultyFileSystem& fileSystem_;
  FilePath path_;
  std::unique_ptr<LockableFile> inner_;
};

// What was opened, in its wrapper.
template <typename Wrapper, typename Opened>
Result<std::unique_ptr<Opened>> wrapped(FaultyFileSystem& fileSystem, const FilePath& path,
                                        Result<std::unique_ptr<Opened>> opened) {
  if (!opened) return opened;
  return std::make_unique<Wrapper>(fileSystem, path, std::move(*opened));
}

}  // namespace

std::optional<ErrorNumber> FaultyFileSystem::next(std::string_view operation, const FilePath& path,
                                                  std::string_view attribute) {
  const Call call{calls_.size(), std::string(operation), path, std::string(attribute)};
  calls_.push_back(call);
  return fault_ ? fault_(call) : std::nullopt;
}

Result<FileStatus> FaultyFileSystem::lstat(const FilePath& path) {
  if (const auto error = next("lstat", path)) return std::unexpected(*error);
  return ForwardingFileSystem::lstat(path);
}
Result<void> FaultyFileSystem::chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) {
  if (const auto error = next("chown", path)) return std::unexpected(*error);
  return ForwardingFileSystem::chown(path, owner, group);
}
Result<void> FaultyFileSystem::chmod(const FilePath& path, std::uint32_t mode) {
  if (const auto error = next("chmod", path)) return std::unexpected(*error);
  return ForwardingFileSystem::chmod(path, mode);
}
Result<void> FaultyFileSystem::chflags(const FilePath& path, std::uint32_t flags) {
  if (const auto error = next("chflags", path)) return std::unexpected(*error);
  return ForwardingFileSystem::chflags(path, flags);
}
Result<void> FaultyFileSystem::setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) {
  if (const auto error = next("setFileTimes", path)) return std::unexpected(*error);
  return ForwardingFileSystem::setFileTimes(path, access, modification);
}
Result<void> FaultyFileSystem::setCreationTime(const FilePath& path, Timestamp creation) {
  if (const auto error = next("setCreationTime", path)) return std::unexpected(*error);
  return ForwardingFileSystem::setCreationTime(path, creation);
}
Result<std::size_t> FaultyFileSystem::getxattr(const FilePath& path, std::string_view name,
                                               std::span<std::uint8_t> value, XattrOptions options) {
  if (const auto error = next("getxattr", path, name)) return std::unexpected(*error);
  return ForwardingFileSystem::getxattr(path, name, value, options);
}
Result<void> FaultyFileSystem::setxattr(const FilePath& path, std::string_view name,
                                        std::span<const std::uint8_t> value, XattrOptions options) {
  if (const auto error = next("setxattr", path, name)) return std::unexpected(*error);
  return ForwardingFileSystem::setxattr(path, name, value, options);
}
Result<void> FaultyFileSystem::removexattr(const FilePath& path, std::string_view name, XattrOptions options) {
  if (const auto error = next("removexattr", path, name)) return std::unexpected(*error);
  return ForwardingFileSystem::removexattr(path, name, options);
}
Result<std::size_t> FaultyFileSystem::listxattr(const FilePath& path, std::span<char> names, XattrOptions options) {
  if (const auto error = next("listxattr", path)) return std::unexpected(*error);
  return ForwardingFileSystem::listxattr(path, names, options);
}
Result<void> FaultyFileSystem::copyACL(const FilePath& source, const FilePath& destination) {
  if (const auto error = next("copyACL", destination)) return std::unexpected(*error);
  return ForwardingFileSystem::copyACL(source, destination);
}
Result<std::unique_ptr<FileWriter>> FaultyFileSystem::createExclusively(const FilePath& path, std::uint32_t mode,
                                                                        const FilePath& like) {
  if (const auto error = next("createExclusively", path)) return std::unexpected(*error);
  return wrapped<FaultyWriter>(*this, path, ForwardingFileSystem::createExclusively(path, mode, like));
}
Result<std::unique_ptr<FileWriter>> FaultyFileSystem::openResourceFork(const FilePath& path) {
  if (const auto error = next("openResourceFork", path)) return std::unexpected(*error);
  return wrapped<FaultyWriter>(*this, path, ForwardingFileSystem::openResourceFork(path));
}
Result<std::unique_ptr<FileReader>> FaultyFileSystem::openForReading(const FilePath& path) {
  if (const auto error = next("openForReading", path)) return std::unexpected(*error);
  return wrapped<FaultyReader>(*this, path, ForwardingFileSystem::openForReading(path));
}
Result<std::unique_ptr<LockableFile>> FaultyFileSystem::openForLocking(const FilePath& path) {
  if (const auto error = next("openForLocking", path)) return std::unexpected(*error);
  return wrapped<FaultyLock>(*this, path, ForwardingFileSystem::openForLocking(path));
}
Result<void> FaultyFileSystem::rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                                      const LockableFile& lock) {
  if (const auto error = next("rename", target)) return std::unexpected(*error);
  return ForwardingFileSystem::rename(work, target, expected, dynamic_cast<const FaultyLock&>(lock).inner());
}
Result<void> FaultyFileSystem::unlink(const FilePath& path) {
  if (const auto error = next("unlink", path)) return std::unexpected(*error);
  return ForwardingFileSystem::unlink(path);
}

}  // namespace quillbrook
