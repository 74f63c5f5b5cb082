// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "Platform/FilePath.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/VolumeError.h"

namespace quillbrook {

// What enabling or disabling did.
struct UnitOutcome {
  enum class Reach {
    manager,    // the user's service manager took it up: the volume is mounted, or unmounted, now
    nextLogin,  // no manager answers: what was put in place counts from the next login on
    noSystemd,  // systemd is not installed: the same, once it is
  };
  FilePath folder;   // resolved
  std::string unit;  // "quillbrook-volume@home-a-b.service"
  FilePath unitFile;
  Reach reach = Reach::manager;

  friend bool operator==(const UnitOutcome&, const UnitOutcome&) = default;
};

// For the person: what holds now.
[[nodiscard]] std::string sentence(const UnitOutcome& outcome, bool enabled);

// The systemd user unit that mounts a volume at login and starts its daemon again when it dies.
namespace VolumeUnit {

// systemd.unit(5), "String escaping for inclusion in unit names", for an absolute path: "/home/a-b" is "home-a\x2db".
[[nodiscard]] std::string escapedPath(const FilePath& folder);
// The inverse; what is no escaped path gives an empty one.
[[nodiscard]] FilePath unescapedPath(std::string_view escaped);

// Writes the unit into $XDG_CONFIG_HOME/systemd/user and enables and starts it for the folder. The folder must pass
// MountPolicy::check, with `force` as there.
[[nodiscard]] std::expected<UnitOutcome, VolumeError> enable(const FilePath& folder, bool force);
// Stops and disables it; a folder that is not enabled is none. The shared unit file goes with its last folder.
[[nodiscard]] std::expected<UnitOutcome, VolumeError> disable(const FilePath& folder);

}  // namespace VolumeUnit
}  // namespace quillbrook
