// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// The verbs of `volume`. Each returns the exit code.
namespace quillbrook::VolumeCommands {

[[nodiscard]] int run(const VolumeMountCommand& command, Io& io);
[[nodiscard]] int run(const VolumeUnmountCommand& command, Io& io);
[[nodiscard]] int run(const VolumeListCommand& command, Io& io);
[[nodiscard]] int run(const VolumeCheckCommand& command, Io& io);
[[nodiscard]] int run(const VolumeRestoreCommand& command, Io& io);
[[nodiscard]] int run(const VolumeEnableCommand& command, Io& io);
[[nodiscard]] int run(const VolumeDisableCommand& command, Io& io);

}  // namespace quillbrook::VolumeCommands
