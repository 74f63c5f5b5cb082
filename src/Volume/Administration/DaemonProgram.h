// SPDX-License-Identifier: MIT
#pragma once

#include <expected>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

// Where the volume daemon's executable is. Any thread, as long as nobody changes the environment.
namespace quillbrook::DaemonProgram {

// Beside the running executable, else in PATH. DaemonMissing.
[[nodiscard]] std::expected<FilePath, VolumeError> find();

}  // namespace quillbrook::DaemonProgram
