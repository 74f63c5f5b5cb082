// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// Where the caller's things lie that must be readable before a mount comes up. Paths as FolderPath::resolve gives
// them; what does not exist is still protected.
struct MountSurroundings {
  FilePath home;
  FilePath configuration;            // $XDG_CONFIG_HOME
  FilePath data;                     // $XDG_DATA_HOME
  FilePath state;                    // $XDG_STATE_HOME
  FilePath runtime;                  // $XDG_RUNTIME_DIR, may be empty
  std::vector<FilePath> otherHomes;  // of the people in the user database
  std::vector<FilePath> programs;    // the folders of the running executable and of the daemon

  // From this process's environment and the user database. Errors as of reading the latter. One thread at a time.
  [[nodiscard]] static Result<MountSurroundings> current();
};

// Which folders may become volumes. Changes nothing. Folders as FolderPath::resolve gives them. Any thread, but one at
// a time where the user database is read.
namespace MountPolicy {

// Nested, or Served if its volume is mounted elsewhere. A volume that is mounted at exactly `folder` is none.
[[nodiscard]] std::expected<void, VolumeError> checkNesting(const FilePath& folder,
                                                            const std::vector<MountedVolume>& volumes);

// Protected: the system or the volume itself needs what lies there.
[[nodiscard]] std::expected<void, VolumeError> checkProtection(const FilePath& folder,
                                                               const MountSurroundings& surroundings);

// Both, of a folder that can be opened, on this machine as it is now; `force` leaves the second out. The first refusal,
// NotAFolder or SystemFailure.
[[nodiscard]] std::expected<void, VolumeError> admit(const FilePath& folder, bool force);

// The refusal for a folder in which some of the `users` write: Ending if a daemon holds its lock, otherwise InUse.
[[nodiscard]] std::unexpected<VolumeError> writersIn(const FilePath& folder, std::vector<FolderUser> users,
                                                     bool clearedStaleMount);

}  // namespace MountPolicy
}  // namespace quillbrook
