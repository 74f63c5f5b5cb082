// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>

namespace quillbrook {

// Seconds since 1970-01-01T00:00:00Z and the nanoseconds of the second, 0 to 999,999,999.
struct Timestamp {
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0;
  friend auto operator<=>(const Timestamp&, const Timestamp&) = default;
};

enum class FileKind : std::uint8_t { regular, directory, symbolicLink, other };

// Bits of FileStatus::st_flags. The lower half belongs to the user, the upper half to the super-user.
inline constexpr std::uint32_t UF_NODUMP = 0x00000001;
inline constexpr std::uint32_t UF_COMPRESSED = 0x00000020;
inline constexpr std::uint32_t SF_IMMUTABLE = 0x00020000;
inline constexpr std::uint32_t SF_APPEND = 0x00040000;
inline constexpr std::uint32_t userSettableFlags = 0x0000FFFF;

// What lstat tells of a path itself, in the platform's terms: for a compressed file the logical size with the
// blocks that its container occupies.
struct FileStatus {
  std::uint64_t st_dev = 0;
  std::uint64_t st_ino = 0;
  std::uint32_t st_mode = 0;  // permissions and set-id bits only, 0 to 07777; the kind stands in `kind`
  FileKind kind = FileKind::other;
  std::uint64_t st_nlink = 0;
  std::uint32_t st_uid = 0;
  std::uint32_t st_gid = 0;
  std::int64_t st_size = 0;    // bytes
  std::int64_t st_blocks = 0;  // of 512 bytes
  std::uint32_t st_flags = 0;
  Timestamp st_atimespec;
  Timestamp st_mtimespec;
  Timestamp st_birthtimespec;  // the carried creation time where there is one, else the host's; zero if neither

  friend bool operator==(const FileStatus&, const FileStatus&) = default;
};

}  // namespace quillbrook
