// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>

#include "Platform/FileStatus.h"

namespace quillbrook {

// What is known of a file beyond what the host keeps: 56 bytes, so that the attribute fits into an ext4 inode of 256
// bytes (92 bytes are left for attributes there: 16 for the entry, 16 for the name without "user.", 4 for the end of
// the list, and 56). It stands as the attribute `attributeName` and, in a sealed container, once more as the last
// bytes of the data. docs/volume-format.md shows every byte.
//
// A sealed container's data: the value, the fork, one CRC-32C (u32, little-endian) for each 64 KiB span of the two
// together, the trailer.
struct ContainerState {
  static constexpr std::size_t byteCount = 56;
  static constexpr std::string_view attributeName = "user.quillbrook.state";
  // Magic and version, with which every state begins.
  static constexpr std::array<std::uint8_t, 3> beginning{'Q', 'B', 1};
  static constexpr std::size_t headByteCount = 16;
  static constexpr std::size_t spanByteCount = 65'536;
  // No file is longer: sizes are signed wherever they are told.
  static constexpr std::uint64_t largestLogicalByteCount = std::numeric_limits<std::int64_t>::max();

  std::uint32_t st_flags = 0;          // UF_COMPRESSED: sealed; otherwise flags that an ordinary file carries
  std::uint32_t valueByteCount = 0;    // com.apple.decmpfs; 0 with forkByteCount 0 and no UF_COMPRESSED: ordinary file
  std::uint32_t forkByteCount = 0;     // com.apple.ResourceFork
  std::uint64_t logicalByteCount = 0;  // what readers see as the file's size
  std::optional<Timestamp> creationTime;  // kept in nanoseconds: from 1677 to 2262, what lies outside is held there
  std::array<std::uint8_t, headByteCount> head{};  // the first bytes of the value, zero behind its end
  std::uint32_t redoIdentifier = 0;  // not 0: the content is the redo copy of that number, not what stands here

  // A finished container, which readers see as `logicalByteCount` bytes.
  [[nodiscard]] bool isSealed() const { return (st_flags & UF_COMPRESSED) != 0; }
  // A container to which value and fork are still being written; readers see an empty file.
  [[nodiscard]] bool isUnderConstruction() const { return !isSealed() && (valueByteCount != 0 || forkByteCount != 0); }

  // Value and fork together.
  [[nodiscard]] std::uint64_t payloadByteCount() const { return std::uint64_t{valueByteCount} + forkByteCount; }
  [[nodiscard]] std::uint64_t spanCount() const { return (payloadByteCount() + spanByteCount - 1) / spanByteCount; }
  // The length of a sealed container's data. Fewer bytes: it was cut short. More: somebody appended to it.
  [[nodiscard]] std::uint64_t rawByteCount() const {
    return payloadByteCount() + spanCount() * sizeof(std::uint32_t) + byteCount;
  }

  [[nodiscard]] std::array<std::uint8_t, byteCount> encode() const;
  // Nothing for bytes that are not a state of this or an earlier version: wrong length, magic, version or checksum, or
  // more logical bytes than a file can have.
  [[nodiscard]] static std::optional<ContainerState> decode(std::span<const std::uint8_t> bytes);

  friend bool operator==(const ContainerState&, const ContainerState&) = default;
};

}  // namespace quillbrook
