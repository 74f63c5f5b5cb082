// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Files that are read or written in one go: the kernel's tables in /proc, a unit file. Any thread.
namespace SmallFile {

// The whole content, to its end.
[[nodiscard]] Result<std::string> read(const FilePath& path);

// Puts a file of that content in place, in one step for every reader; an older one is replaced.
[[nodiscard]] Result<void> replace(const FilePath& path, std::string_view content);

}  // namespace SmallFile
}  // namespace quillbrook
