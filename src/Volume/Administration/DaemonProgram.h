// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string_view>

#include "Platform/FilePath.h"
#include "Volume/Administration/VolumeError.h"

// Where the volume daemon's executable is. Any thread, as long as nobody changes the environment.
namespace quillbrook::DaemonProgram {

inline constexpr std::string_view name = "quillbrook-volume";

// The folder of the running executable.
[[nodiscard]] FilePath ownFolder();

// Beside the running executable, else in PATH. DaemonMissing.
[[nodiscard]] std::expected<FilePath, VolumeError> find();

}  // namespace quillbrook::DaemonProgram
