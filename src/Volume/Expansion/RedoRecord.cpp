// SPDX-License-Identifier: MIT
#include "Volume/Expansion/RedoRecord.h"

#include <linux/limits.h>
#include <sys/xattr.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

namespace {

// The attribute's value: this, the capability, the path. Little-endian; docs/volume-format.md shows every byte.
struct Head {
  std::array<char, 2> magic;
  std::uint8_t version;
  std::uint8_t reserved;  // 0
  std::uint32_t mode;
  std::uint64_t device;
  std::uint64_t inode;
  std::int64_t accessSeconds;
  std::int64_t modificationSeconds;
  std::uint32_t accessNanoseconds;
  std::uint32_t modificationNanoseconds;
  std::uint32_t capabilityByteCount;
  std::uint32_t pathByteCount;
};
static_assert(sizeof(Head) == 56 && std::has_unique_object_representations_v<Head>);
static_assert(std::endian::native == std::endian::little);

constexpr std::array magic{'Q', 'R'};
constexpr std::uint8_t currentVersion = 1;

constexpr const char* capabilityName = "security.capability";
constexpr std::size_t capabilityMaximum = 64;  // the kernel's largest is 24 bytes

// Where `file` lies beneath `source`, as the kernel tells it; empty if it is elsewhere or has no name any more.
std::string pathBeneath(int source, int file) {
  const auto folder = FolderPath::of(source);
  const auto leaf = FolderPath::of(file);
  if (!folder || !leaf) return {};
  return FolderPath::beneath(folder->bytes(), leaf->bytes()).value_or("");
}

}  // namespace

Result<RedoRecord> RedoRecord::of(int source, int file) {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  RedoRecord record{.device = status->st_dev,
                    .inode = status->st_ino,
                    .mode = status->st_mode & 07777U,
                    .accessTime = status->st_atim,
                    .modificationTime = status->st_mtim,
                    .capability = std::vector<std::uint8_t>(capabilityMaximum),
                    .path = pathBeneath(source, file)};
  const ssize_t length = fgetxattr(file, capabilityName, record.capability.data(), record.capability.size());
  if (length < 0 && errno != ENODATA && errno != ENOTSUP) return SystemCall::failure();
  record.capability.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  return record;
}

Result<RedoRecord> RedoRecord::read(int copy) {
  std::vector<std::uint8_t> bytes(sizeof(Head) + capabilityMaximum + PATH_MAX);
  const ssize_t length = fgetxattr(copy, attributeName, bytes.data(), bytes.size());
  if (length < 0) return SystemCall::failure();
  bytes.resize(static_cast<std::size_t>(length));
  Head head{};
  if (bytes.size() < sizeof head) return std::unexpected(ErrorNumber::inputOutput);
  std::memcpy(&head, bytes.data(), sizeof head);
  const bool isKnown = head.magic == magic && head.version == currentVersion;
  const std::uint64_t expected = sizeof head + std::uint64_t{head.capabilityByteCount} + head.pathByteCount;
  if (!isKnown || expected != bytes.size()) return std::unexpected(ErrorNumber::inputOutput);
  const auto capability = bytes.begin() + sizeof head;
  const auto path = capability + head.capabilityByteCount;
  return RedoRecord{.device = head.device,
                    .inode = head.inode,
                    .mode = head.mode,
                    .accessTime = {.tv_sec = head.accessSeconds, .tv_nsec = head.accessNanoseconds},
                    .modificationTime = {.tv_sec = head.modificationSeconds, .tv_nsec = head.modificationNanoseconds},
                    .capability = std::vector<std::uint8_t>(capability, path),
                    .path = std::string(path, bytes.end())};
}

Result<void> RedoRecord::write(int copy) const {
  Head head{.magic = magic,
            .version = currentVersion,
            .reserved = 0,
            .mode = mode,
            .device = device,
            .inode = inode,
            .accessSeconds = accessTime.tv_sec,
            .modificationSeconds = modificationTime.tv_sec,
            .accessNanoseconds = static_cast<std::uint32_t>(accessTime.tv_nsec),
            .modificationNanoseconds = static_cast<std::uint32_t>(modificationTime.tv_nsec),
            .capabilityByteCount = static_cast<std::uint32_t>(capability.size()),
            .pathByteCount = static_cast<std::uint32_t>(path.size())};
  std::vector<std::uint8_t> bytes(sizeof head);
  bytes.insert(bytes.end(), capability.begin(), capability.end());
  const std::size_t withoutPath = bytes.size();
  bytes.insert(bytes.end(), path.begin(), path.end());
  std::memcpy(bytes.data(), &head, sizeof head);
  if (fsetxattr(copy, attributeName, bytes.data(), bytes.size(), 0) == 0) return {};
  // A long path may be more than the host's attributes hold; the inode number alone finds the file as well.
  head.pathByteCount = 0;
  std::memcpy(bytes.data(), &head, sizeof head);
  return SystemCall::checked([&] { return fsetxattr(copy, attributeName, bytes.data(), withoutPath, 0); });
}

Result<void> RedoRecord::restore(int file) const {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  if ((status->st_mode & 07777U) != mode && fchmod(file, mode) != 0) return SystemCall::failure();
  if (!capability.empty() && fsetxattr(file, capabilityName, capability.data(), capability.size(), 0) != 0 &&
      errno != EPERM) {
    return SystemCall::failure();
  }
  const std::array<timespec, 2> times{accessTime, modificationTime};
  return SystemCall::checked([&] { return futimens(file, times.data()); });
}

}  // namespace quillbrook
