// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// One line of the kernel's mount table: proc_pid_mountinfo(5).
struct MountRecord {
  std::uint64_t identifier = 0;  // as statx tells it: STATX_MNT_ID
  FilePath mountPoint;
  std::string type;  // "ext4", "fuse.quillbrook"
  FilePath source;   // for a volume: the folder behind it
  bool isReadOnly = false;
  std::optional<std::uint32_t> userIdentifier;  // user_id= of a FUSE mount: who made it

  friend bool operator==(const MountRecord&, const MountRecord&) = default;
};

// The mounts that this process sees. Any thread.
namespace MountRecords {

// Entries in the kernel's order, later ones above earlier ones. Names are bytes; the kernel's octal escapes are undone.
// A line that has not the shape of the kernel's is left out.
[[nodiscard]] std::vector<MountRecord> parse(std::string_view mountinfo);

[[nodiscard]] Result<std::vector<MountRecord>> read();

[[nodiscard]] bool isVolume(const MountRecord& entry);

// The topmost mount at exactly this place, given without links, "." and ".."; null if nothing is mounted there.
// Points into `table`.
[[nodiscard]] const MountRecord* at(const std::vector<MountRecord>& table, const FilePath& mountPoint);

}  // namespace MountRecords
}  // namespace quillbrook
