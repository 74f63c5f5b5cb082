// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

// Taking mounts away: by the system call for root, by fusermount3 for everybody else. Any thread.
namespace quillbrook::MountDetach {

// The topmost mount at `mountPoint`, which must not be in use: InUse, HelperFailed, FuseUnavailable, SystemFailure.
// Waits a second for users that cannot be seen.
[[nodiscard]] std::expected<void, VolumeError> detach(const FilePath& mountPoint);

// Every volume at `folder` whose daemon has died, whoever still stands in it. Whether there was one.
[[nodiscard]] std::expected<bool, VolumeError> clearStale(const FilePath& folder);

}  // namespace quillbrook::MountDetach
