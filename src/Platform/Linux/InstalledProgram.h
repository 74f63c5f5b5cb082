// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string_view>
#include <vector>

#include "Platform/FilePath.h"

// Where the other programs of this installation are. Any thread, as long as nobody changes the environment.
namespace quillbrook::InstalledProgram {

// The folder of the running executable.
[[nodiscard]] FilePath ownFolder();

// Beside the running executable, else in PATH. The folders that were looked in if it is in none.
[[nodiscard]] std::expected<FilePath, std::vector<FilePath>> find(std::string_view name);

}  // namespace quillbrook::InstalledProgram
