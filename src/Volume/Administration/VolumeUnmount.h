// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

struct UnmountOutcome {
  FilePath folder;  // resolved
  // Compressed files, which other programs cannot read until the folder is mounted again. Nothing if the volume's
  // source was not to be had; too small if some of it could not be read.
  std::optional<std::uint64_t> compressedFiles;
  std::uint64_t unread = 0;  // files and folders
  // The daemon goes on for a mount that is still there: a bind mount, or one in another namespace.
  bool isServedElsewhere = false;
};

namespace VolumeUnmount {

// Detaches the volume, also one whose daemon has died, and waits some seconds for its daemon to end; a volume that does
// not answer the caller is not waited for. `onCounted` is called in this thread once the volume is detached and the
// files in it are counted. Refuses with InUse while a process stands in the volume or has files open there, with
// MountInside while something is mounted there; NotMounted, ForeignMount, Stopped, and what MountDetach fails with.
[[nodiscard]] std::expected<UnmountOutcome, VolumeError> unmount(
    const FilePath& folder, const std::stop_token& stop = {},
    const std::function<void(const UnmountOutcome&)>& onCounted = [](const UnmountOutcome&) {});

}  // namespace VolumeUnmount
}  // namespace quillbrook
