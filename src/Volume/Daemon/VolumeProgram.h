// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>

// The program quillbrook-volume.
namespace quillbrook::VolumeProgram {

// Mounts and serves; in the background, unless told otherwise, once the mount stands. Returns the exit code: 0, 1 if
// the volume cannot be mounted or served, 2 for wrong usage. Errors go to standard error.
[[nodiscard]] int run(std::span<const std::string> arguments);

}  // namespace quillbrook::VolumeProgram
