// SPDX-License-Identifier: MIT
#include "support/MemoryFileSystem.h"

#include <algorithm>
#include <cerrno>

#include "Compression/DecmpfsInline.h"
#include "Compression/DecmpfsResourceFork.h"
#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {
namespace {

using Bytes = MemoryFileSystem::Bytes;
using Node = MemoryFileSystem::Node;

bool isCompressed(const Node& node) {
  return (node.status.st_flags & UF_COMPRESSED) != 0;
}

bool isPayload(std::string_view name) {
  return name == ReservedNames::decmpfs || name == ReservedNames::resourceFork;
}

bool isHidden(const Node& node, std::string_view name, XattrOptions options) {
  return isCompressed(node) && isPayload(name) && !options.showCompression;
}

std::span<const std::uint8_t> attribute(const Node& node, std::string_view name) {
  const auto found = node.attributes.find(name);
  return found == node.attributes.end() ? std::span<const std::uint8_t>{} : std::span(found->second);
}

// What a program reads.
Result<Bytes> content(const Node& node) {
  if (!isCompressed(node)) return node.data;
  if (node.foreignContent) return *node.foreignContent;
  const auto value = attribute(node, ReservedNames::decmpfs);
  const auto header = DecmpfsHeader::parse(value);
  if (!header) return std::unexpected(ErrorNumber::inputOutput);
  if (header->compressionType == CompressionType::lzfseRsrc) {
    const auto bytes =
        DecmpfsResourceFork::decode(attribute(node, ReservedNames::resourceFork), header->uncompressedSize);
    if (!bytes) return std::unexpected(ErrorNumber::inputOutput);
    return Bytes(bytes->begin(), bytes->end());
  }
  const auto bytes = DecmpfsInline::decode(value);
  if (!bytes) return std::unexpected(ErrorNumber::inputOutput);
  return Bytes(bytes->begin(), bytes->end());
}

// One call's worth of a value: its length for a buffer without storage.
Result<std::size_t> deliver(std::span<const std::uint8_t> value, void* destination, std::size_t capacity) {
  if (destination == nullptr) return value.size();
  if (capacity < value.size()) return std::unexpected(ErrorNumber{ERANGE});
  std::copy(value.begin(), value.end(), static_cast<std::uint8_t*>(destination));
  return value.size();
}

class Reader : public FileReader {
 public:
  explicit Reader(Result<Bytes> bytes) : bytes_(std::move(bytes)) {}
  Result<std::size_t> read(std::span<std::uint8_t> destination) override {
    if (!bytes_) return std::unexpected(bytes_.error());
    const std::size_t count = std::min(destination.size(), bytes_->size() - position_);
    std::copy_n(bytes_->begin() + static_cast<std::ptrdiff_t>(position_), count, destination.begin());
    position_ += count;
    return count;
  }

 private:
  Result<Bytes> bytes_;
  std::size_t position_ = 0;
};

class Writer : public FileWriter {
 public:
  Writer(std::shared_ptr<Node> node, Bytes& storage) : node_(std::move(node)), storage_(storage) {}
  Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
    storage_.resize(std::max(storage_.size(), position_ + bytes.size()));
    std::ranges::copy(bytes, storage_.begin() + static_cast<std::ptrdiff_t>(position_));
    position_ += bytes.size();
    return bytes.size();
  }
  Result<std::uint64_t> lseek(std::uint64_t position) override { return position_ = position; }
  Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
    node_->attributes.insert_or_assign(std::string(name), Bytes(value.begin(), value.end()));
    return {};
  }
  Result<void> close() override { return {}; }

 private:
  std::shared_ptr<Node> node_;
  Bytes& storage_;  // a part of the node
  std::size_t position_ = 0;
};

class Lock : public LockableFile {
 public:
  explicit Lock(std::shared_ptr<Node> node) : node_(std::move(node)) {}
  ~Lock() override {
    if (holds_) node_->isLocked = false;
  }
  Result<void> flock() override {
    if (node_->isLocked) return std::unexpected(ErrorNumber::wouldBlock);
    node_->isLocked = holds_ = true;
    return {};
  }
  bool isHeld() const override { return holds_ && !node_->isLockLost; }

 private:
  std::shared_ptr<Node> node_;
  bool holds_ = false;
};

}  // namespace

MemoryFileSystem::MemoryFileSystem(const MemoryFileSystem& other) : lastInode_(other.lastInode_), now_(other.now_) {
  for (const auto& [path, node] : other.nodes_) nodes_.emplace(path, std::make_shared<Node>(*node));
}

Timestamp MemoryFileSystem::tick() {
  return {.seconds = ++now_, .nanoseconds = 123'456'789};
}

MemoryFileSystem::Node& MemoryFileSystem::put(const FilePath& path, Bytes data) {
  auto node = std::make_shared<Node>();
  node->data = std::move(data);
  node->status.st_dev = 1;
  node->status.st_ino = ++lastInode_;
  node->status.st_mode = 0644;
  node->status.kind = FileKind::regular;
  node->status.st_nlink = 1;
  node->status.st_birthtimespec = tick();
  node->status.st_mtimespec = tick();
  node->status.st_atimespec = tick();
  return *(nodes_[path] = node);
}

void MemoryFileSystem::append(const FilePath& path, std::string_view text) {
  Node& node = at(path);
  node.data.insert(node.data.end(), text.begin(), text.end());
  node.status.st_mtimespec = tick();
}

Result<Bytes> MemoryFileSystem::read(const FilePath& path) {
  return content(at(path));
}

template <typename Change>
Result<void> MemoryFileSystem::changing(const FilePath& path, Change change) {
  const auto found = nodes_.find(path);
  if (found == nodes_.end()) return std::unexpected(ErrorNumber::noEntry);
  change(*found->second);
  return {};
}

Result<FileStatus> MemoryFileSystem::lstat(const FilePath& path) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  const Node& node = at(path);
  FileStatus status = node.status;
  std::size_t stored = node.data.size();
  for (const auto& [name, value] : node.attributes) {
    if (isPayload(name)) stored += value.size();
  }
  const auto header = DecmpfsHeader::parse(attribute(node, ReservedNames::decmpfs));
  const bool showsHeader = isCompressed(node) && header;
  status.st_size = static_cast<std::int64_t>(showsHeader ? header->uncompressedSize : node.data.size());
  if (node.shownSize) status.st_size = *node.shownSize;
  status.st_blocks = static_cast<std::int64_t>((stored + 4095) / 4096 * 8);
  return status;
}

Result<void> MemoryFileSystem::chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) {
  return changing(path, [&](Node& node) {
    node.status.st_uid = owner;
    node.status.st_gid = group;
  });
}

Result<void> MemoryFileSystem::chmod(const FilePath& path, std::uint32_t mode) {
  return changing(path, [&](Node& node) { node.status.st_mode = mode; });
}

Result<void> MemoryFileSystem::chflags(const FilePath& path, std::uint32_t flags) {
  if ((flags & ~userSettableFlags) != 0) return std::unexpected(ErrorNumber::notPermitted);
  return changing(path, [&](Node& node) { node.status.st_flags = flags; });
}

Result<void> MemoryFileSystem::setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) {
  return changing(path, [&](Node& node) {
    node.status.st_atimespec = access;
    node.status.st_mtimespec = modification;
  });
}

Result<void> MemoryFileSystem::setCreationTime(const FilePath& path, Timestamp creation) {
  return changing(path, [&](Node& node) { node.status.st_birthtimespec = creation; });
}

Result<std::size_t> MemoryFileSystem::getxattr(const FilePath& path, std::string_view name,
                                               std::span<std::uint8_t> value, XattrOptions options) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  const Node& node = at(path);
  const auto found = node.attributes.find(name);
  if (found == node.attributes.end() || isHidden(node, name, options)) {
    return std::unexpected(ErrorNumber::attributeMissing);
  }
  return deliver(found->second, value.data(), value.size());
}

Result<void> MemoryFileSystem::setxattr(const FilePath& path, std::string_view name,
                                        std::span<const std::uint8_t> value, XattrOptions) {
  return changing(path, [&](Node& node) {
    node.attributes.insert_or_assign(std::string(name), Bytes(value.begin(), value.end()));
  });
}

Result<void> MemoryFileSystem::removexattr(const FilePath& path, std::string_view name, XattrOptions) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  if (at(path).attributes.erase(std::string(name)) == 0) return std::unexpected(ErrorNumber::attributeMissing);
  return {};
}

Result<std::size_t> MemoryFileSystem::listxattr(const FilePath& path, std::span<char> names, XattrOptions options) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  const Node& node = at(path);
  Bytes list;
  for (const auto& [name, value] : node.attributes) {
    if (isHidden(node, name, options)) continue;
    list.insert(list.end(), name.begin(), name.end());
    list.push_back(0);
  }
  return deliver(list, names.data(), names.size());
}

Result<void> MemoryFileSystem::copyACL(const FilePath& source, const FilePath& destination) {
  return changing(destination, [&](Node& node) { node.accessControlList = at(source).accessControlList; });
}

Result<std::unique_ptr<FileWriter>> MemoryFileSystem::createExclusively(const FilePath& path, std::uint32_t mode,
                                                                        const FilePath&) {
  if (exists(path)) return std::unexpected(ErrorNumber::exists);
  put(path, {}).status.st_mode = mode;
  return std::make_unique<Writer>(nodes_[path], at(path).data);
}

Result<std::unique_ptr<FileWriter>> MemoryFileSystem::openResourceFork(const FilePath& path) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  Bytes& fork = at(path).attributes[std::string(ReservedNames::resourceFork)];
  fork.clear();
  return std::make_unique<Writer>(nodes_[path], fork);
}

Result<std::unique_ptr<FileReader>> MemoryFileSystem::openForReading(const FilePath& path) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  at(path).status.st_atimespec = tick();
  return std::make_unique<Reader>(content(at(path)));
}

Result<std::unique_ptr<LockableFile>> MemoryFileSystem::openForLocking(const FilePath& path) {
  if (!exists(path)) return std::unexpected(ErrorNumber::noEntry);
  return std::make_unique<Lock>(nodes_[path]);
}

Result<void> MemoryFileSystem::rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                                      const LockableFile&) {
  if (!exists(work) || !exists(target)) return std::unexpected(ErrorNumber::noEntry);
  if (at(target).status.st_ino != expected.st_ino) return std::unexpected(ErrorNumber::busy);
  nodes_[target] = nodes_.extract(work).mapped();
  return {};
}

Result<void> MemoryFileSystem::unlink(const FilePath& path) {
  if (nodes_.erase(path) == 0) return std::unexpected(ErrorNumber::noEntry);
  return {};
}

}  // namespace quillbrook
