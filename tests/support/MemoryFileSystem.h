// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/FileSystem.h"

namespace quillbrook {

// A file system of files without folders, in memory and for one thread: fast, and the same on every run. It is a
// volume, so UF_COMPRESSED can be set; a file with it is read through the engine's own decoders, shows its logical
// size and hides its payload.
class MemoryFileSystem : public FileSystem {
 public:
  using Bytes = std::vector<std::uint8_t>;

  struct Node {
    FileStatus status;  // st_size and st_blocks are computed when they are asked for
    Bytes data;
    std::map<std::string, Bytes, std::less<>> attributes;  // the payload's two among them
    std::string accessControlList;
    std::optional<std::int64_t> shownSize;  // st_size, where it is not that of the content
    std::optional<Bytes> foreignContent;    // what a file of a type that the engine cannot decode reads as
    bool isLocked = false;
    bool isLockLost = false;  // a program has opened it for writing since

    friend bool operator==(const Node&, const Node&) = default;
  };

  MemoryFileSystem() = default;
  // Copies every file.
  MemoryFileSystem(const MemoryFileSystem& other);
  MemoryFileSystem& operator=(const MemoryFileSystem&) = delete;

  // A new regular file, with times of its own.
  Node& put(const FilePath& path, Bytes data);
  [[nodiscard]] bool exists(const FilePath& path) const { return nodes_.contains(path); }
  // The file must exist.
  [[nodiscard]] Node& at(const FilePath& path) { return *nodes_.at(path); }
  // What a program appending to the file does to it.
  void append(const FilePath& path, std::string_view text);
  [[nodiscard]] Result<Bytes> read(const FilePath& path);

  Result<FileStatus> lstat(const FilePath& path) override;
  Result<void> chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) override {
    return changing(path, [&](Node& node) {
      node.status.st_uid = owner;
      node.status.st_gid = group;
    });
  }
  Result<void> chmod(const FilePath& path, std::uint32_t mode) override {
    return changing(path, [&](Node& node) { node.status.st_mode = mode; });
  }
  Result<void> chflags(const FilePath& path, std::uint32_t flags) override {
    if ((flags & ~userSettableFlags) != 0) return std::unexpected(ErrorNumber::notPermitted);
    return changing(path, [&](Node& node) { node.status.st_flags = flags; });
  }
  Result<void> setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) override {
    return changing(path, [&](Node& node) {
      node.status.st_atimespec = access;
      node.status.st_mtimespec = modification;
    });
  }
  Result<void> setCreationTime(const FilePath& path, Timestamp creation) override {
    return changing(path, [&](Node& node) { node.status.st_birthtimespec = creation; });
  }
  Result<std::size_t> getxattr(const FilePath& path, std::string_view name, std::span<std::uint8_t> value,
                               XattrOptions options) override;
  Result<void> setxattr(const FilePath& path, std::string_view name, std::span<const std::uint8_t> value,
                        XattrOptions) override {
    return changing(path, [&](Node& node) { node.attributes[std::string(name)].assign(value.begin(), value.end()); });
  }
  Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions options) override;
  Result<std::size_t> listxattr(const FilePath& path, std::span<char> names, XattrOptions options) override;
  Result<void> copyACL(const FilePath& source, const FilePath& destination) override {
    return changing(destination, [&](Node& node) { node.accessControlList = at(source).accessControlList; });
  }
  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath& like) override;
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override;
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override;
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override;
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile& lock) override;
  Result<void> unlink(const FilePath& path) override {
    if (nodes_.erase(path) == 0) return std::unexpected(ErrorNumber::noEntry);
    return {};
  }

 private:
  // Calls `change` with the node of `path`.
  template <typename Change>
  Result<void> changing(const FilePath& path, Change change) {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    change(at(path));
    return {};
  }
  Timestamp tick();

  std::map<FilePath, std::shared_ptr<Node>> nodes_;
  std::uint64_t lastInode_ = 100;
  std::int64_t now_ = 1'700'000'000;
};

}  // namespace quillbrook
