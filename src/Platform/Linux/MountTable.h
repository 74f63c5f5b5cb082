// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// One line of /proc/self/mountinfo (proc_pid_mountinfo(5)).
struct MountEntry {
  std::uint64_t identifier = 0;
  std::uint64_t parentIdentifier = 0;
  std::string device;      // "major:minor"
  std::string root;        // the folder within the file system that is mounted
  std::string mountPoint;  // as this process sees it
  std::string type;
  std::string source;  // of a volume: the folder behind it
  bool isReadOnly = false;
  std::optional<std::uint32_t> owner;  // user_id= of FUSE
  bool admitsOthers = false;           // allow_other of FUSE

  friend bool operator==(const MountEntry&, const MountEntry&) = default;
};

// Any thread.
namespace MountTable {

// Lines that are not understood are left out.
[[nodiscard]] std::vector<MountEntry> parse(std::string_view text);

// Where the kernel keeps this process's table.
inline constexpr const char* path = "/proc/self/mountinfo";

// This process's table as it is now, in the order of mounting. Errors as of open(2) and read(2).
[[nodiscard]] Result<std::vector<MountEntry>> read();

}  // namespace MountTable

}  // namespace quillbrook
