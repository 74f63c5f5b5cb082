// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <expected>
#include <optional>
#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Daemon/InodeDescriptor.h"
#include "Volume/Daemon/Options.h"
#include "Volume/Daemon/SourceError.h"
#include "Volume/Expansion/SourceLock.h"

namespace quillbrook {

// The folder that a volume shows, opened before the mount hides it, and locked for as long as this lives.
struct SourceFolder {
  SharedDescriptor descriptor;     // open for reading, so that others can open it through /proc
  std::optional<SourceLock> lock;  // none on a read-only host
  struct stat status{};
  std::string path;  // canonical, for the mount table
  bool isInPlace = false;

  // Opens and locks it. Refuses a folder inside a volume, one that holds a volume, and one that another daemon serves.
  [[nodiscard]] static std::expected<SourceFolder, SourceError> open(const Options& options);
};

}  // namespace quillbrook
