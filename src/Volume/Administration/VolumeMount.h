// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "Platform/FilePath.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

struct MountOptions {
  bool readOnly = false;
  bool allowOther = false;  // other users may reach into the volume
  bool foreground = false;
  bool force = false;  // lifts VolumeErrors::Protected
};

// What mounting met.
struct MountOutcome {
  FilePath folder;                 // resolved
  bool wasMounted = false;         // it was such a volume already: nothing was done
  bool clearedStaleMount = false;  // one whose daemon had died
  std::vector<FolderUser> users;   // those who were there before and see past the mount; none of them writes
  std::string words;               // what the daemon had to tell before it went into the background; often nothing
};

namespace VolumeMount {

// Mounts the volume over its own folder with the program `quillbrook-volume`, found beside the running executable, else
// in PATH. MountedOtherwise for one that is mounted with other options. Returns once the mount stands and `onMounted`
// was called. With `foreground` the daemon writes to this process's standard error and the call returns when it has
// ended; a stop request ends it as SIGTERM does.
[[nodiscard]] std::expected<MountOutcome, VolumeError> mount(
    const FilePath& folder, const MountOptions& options, const std::stop_token& stop = {},
    const std::function<void(const MountOutcome&)>& onMounted = [](const MountOutcome&) {});

}  // namespace VolumeMount
}  // namespace quillbrook
