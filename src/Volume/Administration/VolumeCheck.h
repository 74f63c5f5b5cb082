// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <stop_token>

#include "Platform/FilePath.h"
#include "Volume/Administration/CheckFinding.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

struct CheckResult {
  FilePath folder;                 // resolved
  std::uint64_t files = 0;         // regular files, each inode once
  std::uint64_t containers = 0;    // compressed ones among them
  std::uint64_t logicalBytes = 0;  // of the containers that were found whole
  std::uint64_t damaged = 0;       // findings that are damage: exit code 4
  std::uint64_t unreadable = 0;    // findings `unreadable`
  std::uint64_t notes = 0;         // the other findings

  friend bool operator==(const CheckResult&, const CheckResult&) = default;
};

namespace VolumeCheck {

// Walks the folder, mounted or bare, decodes every container and verifies its checksums. Changes nothing. `onFinding`
// is called as things are found, in this thread. Follows no link and stays on the folder's own file system. Stopped, or
// what VolumeSource fails with.
[[nodiscard]] std::expected<CheckResult, VolumeError> check(const FilePath& folder,
                                                            const std::function<void(const CheckFinding&)>& onFinding,
                                                            std::stop_token stop = {});

}  // namespace VolumeCheck
}  // namespace quillbrook
