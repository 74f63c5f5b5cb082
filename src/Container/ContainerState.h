// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "Platform/FileStatus.h"

namespace quillbrook {

// What is known of a file beyond what the host keeps: 56 bytes, so that the attribute fits into an ext4 inode of 256
// bytes (56 is the largest value that does under this name). It stands as the attribute `attributeName` and, in a
// sealed container, once more as the last bytes of the data. docs/volume-format.md shows every byte.
struct ContainerState {
  static constexpr std::size_t byteCount = 56;
  static constexpr std::string_view attributeName = "user.quillbrook.state";
  static constexpr std::size_t headByteCount = 16;

  std::uint32_t st_flags = 0;         // UF_COMPRESSED: sealed; otherwise flags that an ordinary file carries
  std::uint32_t valueByteCount = 0;   // com.apple.decmpfs; 0 with forkByteCount 0 and no UF_COMPRESSED: ordinary file
  std::uint32_t forkByteCount = 0;    // com.apple.ResourceFork
  std::uint64_t logicalByteCount = 0; // what readers see as the file's size
  std::optional<Timestamp> creationTime;
  std::array<std::uint8_t, headByteCount> head{};  // the first bytes of the value, zero behind its end
  std::uint32_t redoIdentifier = 0;   // not 0: the content is the redo copy of that number, not what stands here

  [[nodiscard]] std::array<std::uint8_t, byteCount> encode() const;
  // Nothing for bytes that are not a state of this or an earlier version: wrong length, magic, version or checksum.
  [[nodiscard]] static std::optional<ContainerState> decode(std::span<const std::uint8_t> bytes);

  friend bool operator==(const ContainerState&, const ContainerState&) = default;
};

}  // namespace quillbrook
