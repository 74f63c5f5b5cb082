// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>

#include "Platform/FilePath.h"
#include "Platform/ServiceManagerReach.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// What enabling or disabling did.
struct UnitOutcome {
  FilePath folder;   // resolved
  std::string unit;  // "quillbrook-volume@home-a-b.service"
  FilePath unitFile;
  // Only a running manager took it up: the volume is mounted, or unmounted, now. Otherwise what was put in place counts
  // from the next login on, once systemd is installed.
  ServiceManagerReach reach = ServiceManagerReach::running;
  bool isEnabled = false;         // enabled, otherwise disabled
  bool wasEnabled = false;        // of disabling: otherwise there was nothing to undo
  bool isMountedAlready = false;  // enabled while mounted: the mount stays as it is until the next login

  friend bool operator==(const UnitOutcome&, const UnitOutcome&) = default;
};

// For the person: what holds now.
[[nodiscard]] std::string sentence(const UnitOutcome& outcome);

// The systemd user unit that mounts a volume at login and starts its daemon again when it dies. Any thread, as long as
// nobody changes the environment.
namespace VolumeUnit {

// Writes the unit into $XDG_CONFIG_HOME/systemd/user and enables and starts it for the folder. The folder must pass
// MountPolicy::admit, with `force` as there. SystemFailure, HelperFailed or DaemonMissing otherwise.
[[nodiscard]] std::expected<UnitOutcome, VolumeError> enable(const FilePath& folder, bool force);
// Stops and disables it; a folder that is not enabled is no failure. The shared unit file goes with its last folder. As
// above, but for MountPolicy.
[[nodiscard]] std::expected<UnitOutcome, VolumeError> disable(const FilePath& folder);

}  // namespace VolumeUnit
}  // namespace quillbrook
