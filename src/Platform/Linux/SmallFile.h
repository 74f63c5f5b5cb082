// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

// Files that are read or written in one go: the kernel's tables in /proc, a unit file. Any thread.
namespace quillbrook::SmallFile {

// The whole content, to its end. Errors as of open(2) and read(2).
[[nodiscard]] Result<std::string> read(const FilePath& path);

// Puts a file of that content in place, mode 0644, in one step for every reader and synced before; an older one is
// replaced. On failure the older one is what it was.
[[nodiscard]] Result<void> replace(const FilePath& path, std::string_view content);

}  // namespace quillbrook::SmallFile
