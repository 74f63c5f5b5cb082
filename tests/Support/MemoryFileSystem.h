// SPDX-License-Identifier: MIT
#pragma once

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/FileSystem.h"
#include "Platform/ReservedNames.h"
#include "Support/Prelude.h"

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
  ~MemoryFileSystem() override = default;
  // Copies every file.
  MemoryFileSystem(const MemoryFileSystem& other) : lastInode_(other.lastInode_), now_(other.now_) {
    for (const auto& [path, node] : other.nodes_) nodes_.emplace(path, std::make_shared<Node>(*node));
  }
  MemoryFileSystem(MemoryFileSystem&&) = delete;
  MemoryFileSystem& operator=(const MemoryFileSystem&) = delete;
  MemoryFileSystem& operator=(MemoryFileSystem&&) = delete;

  // A new regular file, with times of its own.
  Node& put(const FilePath& path, Bytes data) {
    auto node = std::make_shared<Node>();
    node->data = std::move(data);
    node->status = {.st_dev = 1,
                    .st_ino = ++lastInode_,
                    .st_mode = 0644,
                    .kind = FileKind::regular,
                    .st_nlink = 1,
                    .st_atimespec = tick(),
                    .st_mtimespec = tick(),
                    .st_birthtimespec = tick()};
    return *(nodes_[path] = node);
  }
  [[nodiscard]] bool exists(const FilePath& path) const { return nodes_.contains(path); }
  // The file must exist.
  [[nodiscard]] Node& at(const FilePath& path) { return *nodes_.at(path); }
  [[nodiscard]] const Node& at(const FilePath& path) const { return *nodes_.at(path); }
  // What a program reads.
  [[nodiscard]] Result<Bytes> read(const FilePath& path) const {
    const Node& node = at(path);
    if (!isCompressed(node)) return node.data;
    if (node.foreignContent) return *node.foreignContent;
    const auto value = attribute(node, ReservedNames::decmpfs);
    const auto header = DecmpfsHeader::parse(value);
    const auto bytesOf = [](const auto& decoded) -> Result<Bytes> {
      if (!decoded) return std::unexpected(ErrorNumber::inputOutput);
      return Bytes(decoded->begin(), decoded->end());
    };
    if (!header || header->compressionType != CompressionType::lzfseRsrc) return bytesOf(DecmpfsInline::decode(value));
    return bytesOf(DecmpfsResourceFork::decode(attribute(node, ReservedNames::resourceFork), header->uncompressedSize));
  }

  Result<FileStatus> lstat(const FilePath& path) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    const Node& node = at(path);
    const auto value = attribute(node, ReservedNames::decmpfs);
    const auto header = DecmpfsHeader::parse(value);
    const std::uint64_t size = isCompressed(node) && header ? header->uncompressedSize : node.data.size();
    const std::size_t stored = node.data.size() + value.size() + attribute(node, ReservedNames::resourceFork).size();
    FileStatus status = node.status;
    status.st_size = node.shownSize.value_or(static_cast<std::int64_t>(size));
    status.st_blocks = static_cast<std::int64_t>((stored + 4095) / 4096 * 8);
    return status;
  }
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
                               XattrOptions options) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    const auto found = at(path).attributes.find(name);
    if (found == at(path).attributes.end() || isHidden(at(path), name, options)) {
      return std::unexpected(ErrorNumber::attributeMissing);
    }
    return deliver(found->second, value.data(), value.size());
  }
  Result<void> setxattr(const FilePath& path, std::string_view name, std::span<const std::uint8_t> value,
                        XattrOptions) override {
    return changing(path, [&](Node& node) { node.attributes[std::string(name)].assign(value.begin(), value.end()); });
  }
  Result<void> removexattr(const FilePath& path, std::string_view name, XattrOptions) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    if (at(path).attributes.erase(std::string(name)) == 0) return std::unexpected(ErrorNumber::attributeMissing);
    return {};
  }
  Result<std::size_t> listxattr(const FilePath& path, std::span<char> names, XattrOptions options) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    std::string list;
    for (const auto& [name, value] : at(path).attributes) {
      if (!isHidden(at(path), name, options)) list.append(name).push_back('\0');
    }
    return deliver(list, names.data(), names.size());
  }
  Result<void> copyACL(const FilePath& source, const FilePath& destination) override {
    return changing(destination, [&](Node& node) { node.accessControlList = at(source).accessControlList; });
  }

  Result<std::unique_ptr<FileWriter>> createExclusively(const FilePath& path, std::uint32_t mode,
                                                        const FilePath&) override {
    if (exists(path)) return std::unexpected(ErrorNumber::exists);
    put(path, {}).status.st_mode = mode;
    return std::make_unique<Handle>(nodes_[path], Bytes{}, &at(path).data);
  }
  Result<std::unique_ptr<FileWriter>> openResourceFork(const FilePath& path) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    Bytes& fork = at(path).attributes[std::string(ReservedNames::resourceFork)];
    fork.clear();
    return std::make_unique<Handle>(nodes_[path], Bytes{}, &fork);
  }
  Result<std::unique_ptr<FileReader>> openForReading(const FilePath& path) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    at(path).status.st_atimespec = tick();
    return std::make_unique<Handle>(nodes_[path], read(path));
  }
  Result<std::unique_ptr<LockableFile>> openForLocking(const FilePath& path) override {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    return std::make_unique<Handle>(nodes_[path]);
  }
  Result<void> rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                      const LockableFile&) override {
    if (!exists(work) || !exists(target)) return std::unexpected(ErrorNumber::noEntry);
    if (at(target).status.st_ino != expected.st_ino) return std::unexpected(ErrorNumber::busy);
    nodes_[target] = nodes_.extract(work).mapped();
    return {};
  }
  Result<void> unlink(const FilePath& path) override {
    if (nodes_.erase(path) == 0) return std::unexpected(ErrorNumber::noEntry);
    return {};
  }

 private:
  // An open file, for whichever purpose.
  class Handle : public FileReader, public FileWriter, public LockableFile {
   public:
    // `shown` is what is read, `storage` a part of the node that is written.
    explicit Handle(std::shared_ptr<Node> node, Result<Bytes> shown = {}, Bytes* storage = nullptr)
        : node_(std::move(node)), shown_(std::move(shown)), storage_(storage) {}
    ~Handle() override {
      if (holdsLock_) node_->isLocked = false;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    Result<std::size_t> read(std::span<std::uint8_t> destination) override {
      if (!shown_) return std::unexpected(shown_.error());
      const auto rest = std::span(*shown_).subspan(position_);
      const auto part = rest.first(std::min(destination.size(), rest.size()));
      std::ranges::copy(part, destination.begin());
      position_ += part.size();
      return part.size();
    }
    Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
      storage_->resize(std::max(storage_->size(), position_ + bytes.size()));
      std::ranges::copy(bytes, storage_->begin() + static_cast<std::ptrdiff_t>(position_));
      position_ += bytes.size();
      return bytes.size();
    }
    Result<std::uint64_t> lseek(std::uint64_t position) override { return position_ = position; }
    Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
      node_->attributes[std::string(name)].assign(value.begin(), value.end());
      return {};
    }
    Result<void> close() override { return {}; }
    Result<void> flock() override {
      if (node_->isLocked) return std::unexpected(ErrorNumber::wouldBlock);
      node_->isLocked = holdsLock_ = true;
      return {};
    }
    [[nodiscard]] bool isHeld() const override { return holdsLock_ && !node_->isLockLost; }

   private:
    std::shared_ptr<Node> node_;
    Result<Bytes> shown_;
    Bytes* storage_;
    std::size_t position_ = 0;
    bool holdsLock_ = false;
  };

  static bool isCompressed(const Node& node) { return (node.status.st_flags & UF_COMPRESSED) != 0; }
  static bool isHidden(const Node& node, std::string_view name, XattrOptions options) {
    const bool isPayload = name == ReservedNames::decmpfs || name == ReservedNames::resourceFork;
    return isCompressed(node) && isPayload && !options.showCompression;
  }
  static std::span<const std::uint8_t> attribute(const Node& node, std::string_view name) {
    const auto found = node.attributes.find(name);
    return found == node.attributes.end() ? std::span<const std::uint8_t>{} : std::span(found->second);
  }
  // One call's worth of a value: its length for a buffer without storage.
  static Result<std::size_t> deliver(const auto& value, auto* destination, std::size_t capacity) {
    if (destination == nullptr) return value.size();
    if (capacity < value.size()) return std::unexpected(ErrorNumber{ERANGE});
    std::ranges::copy(value, destination);
    return value.size();
  }
  // Calls `change` with the node of `path`.
  template <typename Change>
  Result<void> changing(const FilePath& path, Change change) {
    if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
    change(at(path));
    return {};
  }
  Timestamp tick() { return {.seconds = ++now_, .nanoseconds = 123'456'789}; }

  std::map<FilePath, std::shared_ptr<Node>> nodes_;
  std::uint64_t lastInode_ = 100;
  std::int64_t now_ = 1'700'000'000;
};

}  // namespace quillbrook
