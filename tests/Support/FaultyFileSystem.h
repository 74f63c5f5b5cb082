// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ForwardingFileSystem.h"
#include "Support/Prelude.h"

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

  Result<FileStatus> lstat(const FilePath& path) override {
    return made("lstat", path, [&] { return ForwardingFileSystem::lstat(path); });
  }
  Result<void> chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) override {
    return made("chown", path, [&] { return ForwardingFileSystem::chown(path, owner, group); });
  }
  Result<void> chmod(const FilePath& path, std::uint32_t mode) override {
    return made("chmod", path, [&] { return ForwardingFileSystem::chmod(path, mode); });
  }
  Result<void> chflags(const FilePath& path, std::uint32_t flags) override {
    return made("chflags", path, [&] { return ForwardingFileSystem::chflags(path, flags); });
  }
  Result<void> setFileTimes(const FilePath& path, Timestamp access, Timestamp change) override {
    return made("setFileTimes", path, [&] { return ForwardingFileSystem::setFileTimes(path, access, change); });
  }
  Result<void> setCreationTime(const FilePath& path, Timestamp creation) override {
    return made("setCreationTime", path, [&] { return ForwardingFileSystem::setCreationTime(path, creation); });
  }
  Result<std::size_t> getxattr(const FilePath& path, std::string_view name, std::span<std::uint8_t> value,
                               XattrOptions options) override {
    return made("getxattr", path, [&] { return ForwardingFileSystem::getxattr(path, name, value, options); }, name);
  }
  Result<void> setxattr(const FilePath& path, std::string_view name, std::span<const std::uint8_t> value,
                        XattrOptions options) override {
    return made("setxattr", path, [&] { return ForwardingFileSystem::setxattr(path, name, value, options); }, name);
  }
  Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions options) override {
    return made("removexattr", path, [&] { return ForwardingFileSystem::removexattr(path, name, options); }, name);
  }
  Result<std::size_t> listxattr(const FilePath& path, std::span<char> names, XattrOptions options) override {
    return made("listxattr", path, [&] { return ForwardingFileSystem::listxattr(path, names, options); });
  }
  Result<void> copyACL(const FilePath& source, const FilePath& destination) override {
    return made("copyACL", destination, [&] { return ForwardingFileSystem::copyACL(source, destination); });
  }
  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override {
    return wrapped<Writer>(path, made("createExclusively", path,
                                      [&] { return ForwardingFileSystem::createExclusively(path, mode, like); }));
  }
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override {
    return wrapped<Writer>(
        path, made("openResourceFork", path, [&] { return ForwardingFileSystem::openResourceFork(path); }));
  }
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override {
    return wrapped<Reader>(path,
                           made("openForReading", path, [&] { return ForwardingFileSystem::openForReading(path); }));
  }
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override {
    return wrapped<Lock>(path,
                         made("openForLocking", path, [&] { return ForwardingFileSystem::openForLocking(path); }));
  }
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& lock) override {
    const auto& inner = *dynamic_cast<const Lock&>(lock).inner;
    return made("rename", target, [&] { return ForwardingFileSystem::rename(work, target, expected, inner); });
  }
  Result<void> unlink(const FilePath& path) override {
    return made("unlink", path, [&] { return ForwardingFileSystem::unlink(path); });
  }

 private:
  // What was opened, and whose calls count as well.
  template <typename Interface>
  struct Opened : Interface {
    Opened(FaultyFileSystem& its, FilePath at, std::unique_ptr<Interface> from)
        : fileSystem(its), path(std::move(at)), inner(std::move(from)) {}
    FaultyFileSystem& fileSystem;
    FilePath path;
    std::unique_ptr<Interface> inner;
  };
  struct Reader : Opened<FileReader> {
    using Opened::Opened;
    Result<std::size_t> read(std::span<std::uint8_t> destination) override {
      const auto part = destination.first(std::min(destination.size(), fileSystem.largestTransfer));
      return fileSystem.made("read", path, [&] { return inner->read(part); });
    }
  };
  struct Writer : Opened<FileWriter> {
    using Opened::Opened;
    Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
      const auto part = bytes.first(std::min(bytes.size(), fileSystem.largestTransfer));
      return fileSystem.made("write", path, [&] { return inner->write(part); });
    }
    Result<std::uint64_t> lseek(std::uint64_t position) override {
      return fileSystem.made("lseek", path, [&] { return inner->lseek(position); });
    }
    Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
      return fileSystem.made("fsetxattr", path, [&] { return inner->fsetxattr(name, value); }, name);
    }
    Result<void> close() override {
      return fileSystem.made("close", path, [&] { return inner->close(); });
    }
  };
  struct Lock : Opened<LockableFile> {
    using Opened::Opened;
    Result<void> flock() override {
      return fileSystem.made("flock", path, [&] { return inner->flock(); });
    }
    [[nodiscard]] bool isHeld() const override {
      return fileSystem.made("isHeld", path, [&]() -> Result<bool> { return inner->isHeld(); }).value_or(false);
    }
  };

  // Counts a call, and makes it unless it is to fail.
  template <typename Made>
  std::invoke_result_t<Made> made(std::string_view operation, const FilePath& path, Made call,
                                  std::string_view attribute = {}) {
    calls_.push_back({calls_.size(), std::string(operation), path, std::string(attribute)});
    const auto error = fault_ ? fault_(Call(calls_.back())) : std::nullopt;
    if (error) return std::unexpected(*error);
    return call();
  }
  template <typename Wrapper, typename Interface>
  Result<std::unique_ptr<Interface>> wrapped(const FilePath& path, Result<std::unique_ptr<Interface>> opened) {
    if (!opened) return opened;
    return std::make_unique<Wrapper>(*this, path, std::move(*opened));
  }

  Fault fault_;
  std::vector<Call> calls_;
};

}  // namespace quillbrook
