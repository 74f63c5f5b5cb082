// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <stop_token>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

struct UnmountOutcome {
  FilePath folder;                    // resolved
  std::uint64_t compressedFiles = 0;  // which other programs cannot read until the folder is mounted again
  std::uint64_t unreadFolders = 0;    // not 0: the count may be too small
  bool wasStale = false;              // its daemon had died; nothing was counted if it cannot be reached
};

namespace VolumeUnmount {

// Detaches the volume and waits until its daemon has ended. `onCounted` is called once the count is known, before
// anything is detached. Refuses with InUse while a process stands in the volume or has files open there.
[[nodiscard]] std::expected<UnmountOutcome, VolumeError> unmount(
    const FilePath& folder, std::stop_token stop = {},
    const std::function<void(const UnmountOutcome&)>& onCounted = [](const UnmountOutcome&) {});

}  // namespace VolumeUnmount
}  // namespace quillbrook
