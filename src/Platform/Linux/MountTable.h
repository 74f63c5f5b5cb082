// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbrook {

// One line of /proc/self/mountinfo (proc_pid_mountinfo(5)).
struct MountEntry {
  std::uint64_t identifier = 0;
  std::uint64_t parentIdentifier = 0;
  std::string root;        // the folder within the file system that is mounted
  std::string mountPoint;  // as this process sees it
  std::string type;
  std::optional<std::uint32_t> owner;  // user_id= of FUSE

  friend bool operator==(const MountEntry&, const MountEntry&) = default;
};

namespace MountTable {

// Lines that are not understood are left out.
[[nodiscard]] std::vector<MountEntry> parse(std::string_view text);

// This process's table as it is now; empty if it cannot be read.
[[nodiscard]] std::vector<MountEntry> read();

}  // namespace MountTable

}  // namespace quillbrook
