// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <vector>

#include "Platform/FilePath.h"
#include "Volume/Administration/MountRecords.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// Where the caller's things lie that must be readable before a mount comes up. Paths as FolderPath::resolve gives
// them; what does not exist is still protected.
struct MountSurroundings {
  FilePath home;
  FilePath configuration;          // $XDG_CONFIG_HOME
  FilePath data;                   // $XDG_DATA_HOME
  FilePath state;                  // $XDG_STATE_HOME
  FilePath runtime;                // $XDG_RUNTIME_DIR, may be empty
  std::vector<FilePath> programs;  // the folders of the running executable and of the daemon

  // From this process's environment and the user database.
  [[nodiscard]] static MountSurroundings current();
};

// Which folders may become volumes. Touches nothing.
namespace MountPolicy {

// `folder` as FolderPath::resolve gives it. The first refusal: Nested, Served (its volume is mounted elsewhere),
// or, without `force`, Protected. A volume that is mounted at exactly `folder` is none.
[[nodiscard]] std::expected<void, VolumeError> check(const FilePath& folder, const MountSurroundings& surroundings,
                                                     const std::vector<MountRecord>& table, bool force);

}  // namespace MountPolicy
}  // namespace quillbrook
