// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/FilePath.h"

// Where the user's things lie, by the XDG base directory rules: the environment's absolute paths, else their places in
// the home folder. Not resolved, and not made. Any thread, while nobody changes the environment.
namespace quillbrook::StandardFolders {

// $HOME, else what the user database says, else "/".
[[nodiscard]] FilePath home();

// Of all programs: $XDG_DATA_HOME, $XDG_CONFIG_HOME, $XDG_STATE_HOME.
[[nodiscard]] FilePath data();
[[nodiscard]] FilePath configuration();
[[nodiscard]] FilePath state();
// $XDG_RUNTIME_DIR has no other place.
[[nodiscard]] std::optional<FilePath> runtime();

// This program's own in data(): the store lies there.
[[nodiscard]] FilePath applicationSupport();

}  // namespace quillbrook::StandardFolders
