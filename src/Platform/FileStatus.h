// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Platform/FileKind.h"
#include "Platform/PayloadHead.h"
#include "Platform/StatFlags.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

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
  std::optional<PayloadHead> payload = std::nullopt;  // of a compressed file, where it came along; not verified

  friend bool operator==(const FileStatus&, const FileStatus&) = default;
};

}  // namespace quillbrook
