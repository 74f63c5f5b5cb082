// SPDX-License-Identifier: MIT
#include "Platform/Linux/RedoRecord.h"

#include <linux/limits.h>
#include <sys/xattr.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The attribute's value is a head, the capability and the path. docs/volume-format.md shows every byte.
namespace At {
constexpr std::size_t version = 2;
constexpr std::size_t mode = 4;
constexpr std::size_t inode = 8;
constexpr std::size_t accessSeconds = 16;
constexpr std::size_t modificationSeconds = 24;
constexpr std::size_t accessNanoseconds = 32;
constexpr std::size_t modificationNanoseconds = 36;
constexpr std::size_t capabilityByteCount = 40;
constexpr std::size_t pathByteCount = 44;
}  // namespace At
constexpr std::size_t headByteCount = 48;

constexpr std::array<std::uint8_t, 2> magic{'Q', 'R'};
constexpr std::uint8_t currentVersion = 1;

template <typename Number>
Number load(const Bytes& bytes, std::size_t at) {
  return LittleEndian::load<Number>(bytes.data() + at);
}

template <typename Number>
void store(Bytes& bytes, std::size_t at, Number value) {
  LittleEndian::store<Number>(bytes.data() + at, value);
}

timespec loadTime(const Bytes& bytes, std::size_t seconds, std::size_t nanoseconds) {
  return {.tv_sec = static_cast<time_t>(load<std::uint64_t>(bytes, seconds)),
          .tv_nsec = static_cast<long>(load<std::uint32_t>(bytes, nanoseconds))};
}

void storeTime(Bytes& bytes, std::size_t seconds, std::size_t nanoseconds, const timespec& time) {
  store(bytes, seconds, static_cast<std::uint64_t>(time.tv_sec));
  store(bytes, nanoseconds, static_cast<std::uint32_t>(time.tv_nsec));
}

// Where `file` lies beneath `source`, as the kernel tells it; empty if it is elsewhere or has no name any more.
std::string pathBeneath(int source, int file) {
  const auto folder = FolderPath::of(source);
  const auto leaf = FolderPath::of(file);
  if (!folder || !leaf) return {};
  return FolderPath::beneath(folder->bytes(), leaf->bytes()).value_or("");
}

Result<void> writeAttribute(int copy, const Bytes& bytes) {
  return SystemCall::checked(
      [&] { return ::fsetxattr(copy, RedoRecord::attributeName, bytes.data(), bytes.size(), 0); });
}

}  // namespace

Result<RedoRecord> RedoRecord::of(int source, int file) {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  auto kept = KeptMetadata::of(file);
  if (!kept) return std::unexpected(kept.error());
  return RedoRecord{.inode = status->st_ino, .kept = std::move(*kept), .path = pathBeneath(source, file)};
}

Result<RedoRecord> RedoRecord::read(int copy) {
  Bytes bytes(headByteCount + KeptMetadata::capabilityMaximum + PATH_MAX);
  const ssize_t length = ::fgetxattr(copy, attributeName, bytes.data(), bytes.size());
  if (length < 0) return SystemCall::failure();
  bytes.resize(static_cast<std::size_t>(length));
  if (bytes.size() < headByteCount) return std::unexpected(ErrorNumber::inputOutput);
  const std::uint64_t capabilityByteCount = load<std::uint32_t>(bytes, At::capabilityByteCount);
  const std::uint64_t pathByteCount = load<std::uint32_t>(bytes, At::pathByteCount);
  const bool isKnown =
      std::ranges::equal(std::span(bytes).first(magic.size()), magic) && bytes[At::version] == currentVersion;
  if (!isKnown || headByteCount + capabilityByteCount + pathByteCount != bytes.size()) {
    return std::unexpected(ErrorNumber::inputOutput);
  }
  const auto capability = bytes.begin() + headByteCount;
  const auto path = capability + static_cast<std::ptrdiff_t>(capabilityByteCount);
  return RedoRecord{.inode = load<std::uint64_t>(bytes, At::inode),
                    .kept = {.mode = load<std::uint32_t>(bytes, At::mode),
                             .accessTime = loadTime(bytes, At::accessSeconds, At::accessNanoseconds),
                             .modificationTime = loadTime(bytes, At::modificationSeconds, At::modificationNanoseconds),
                             .capability = Bytes(capability, path)},
                    .path = std::string(path, bytes.end())};
}

Result<void> RedoRecord::write(int copy) const {
  const std::size_t withoutPath = headByteCount + kept.capability.size();
  Bytes bytes(withoutPath + path.size());
  std::ranges::copy(magic, bytes.begin());
  bytes[At::version] = currentVersion;
  store(bytes, At::mode, kept.mode);
  store(bytes, At::inode, inode);
  storeTime(bytes, At::accessSeconds, At::accessNanoseconds, kept.accessTime);
  storeTime(bytes, At::modificationSeconds, At::modificationNanoseconds, kept.modificationTime);
  store(bytes, At::capabilityByteCount, static_cast<std::uint32_t>(kept.capability.size()));
  store(bytes, At::pathByteCount, static_cast<std::uint32_t>(path.size()));
  std::ranges::copy(kept.capability, bytes.begin() + headByteCount);
  std::ranges::copy(path, bytes.begin() + static_cast<std::ptrdiff_t>(withoutPath));
  if (writeAttribute(copy, bytes)) return {};
  // A long path may be more than the host's attributes hold; the inode number alone finds the file as well.
  store(bytes, At::pathByteCount, std::uint32_t{0});
  bytes.resize(withoutPath);
  return writeAttribute(copy, bytes);
}

Result<void> RedoRecord::restore(int file) const {
  const auto permissions = kept.restorePermissions(file);
  if (!permissions && permissions.error() != ErrorNumber::notPermitted) return permissions;
  return kept.restoreTimes(file);
}

}  // namespace quillbrook
