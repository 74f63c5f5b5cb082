// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A process that uses a folder, and how.
struct FolderUser {
  std::int32_t process = 0;
  std::string command;        // as the kernel names the process, bytes
  bool standsThere = false;   // its current or root folder lies in it
  bool hasOpenFiles = false;  // open, running or mapped
  bool writes = false;        // at least one is open for writing, or mapped so
  FilePath example;           // one place in the folder that it uses; a written one if there is one

  friend bool operator==(const FolderUser&, const FolderUser&) = default;
};

namespace FolderUsers {

// Everybody but this process who stands in `folder` or has something open there, by process number. Only what the
// caller may see in /proc: an ordinary user sees their own processes. A folder of a mounted volume means what goes
// through the mount; processes that came before it and see past it are on another device and not told.
// `folder` as FolderPath::resolve gives it. Any thread; what comes and goes meanwhile may be missed. Errors as of
// reading /proc.
[[nodiscard]] Result<std::vector<FolderUser>> find(const FilePath& folder);

}  // namespace FolderUsers
}  // namespace quillbrook
