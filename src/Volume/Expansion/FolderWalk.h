// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <functional>
#include <stop_token>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A regular file that a walk came upon. Valid during the call alone.
struct WalkedFile {
  int folder;            // descriptor of the folder that it lies in
  const char* name;      // its name there
  const FilePath& path;  // the same place for the person
  const struct stat& status;
};

namespace FolderWalk {

struct Visitor {
  std::function<void(const WalkedFile&)> onFile;
  // A file or folder that could not be looked at; what is merely gone by now is not told.
  std::function<void(const FilePath&, ErrorNumber)> onUnreadable;
};

// Every regular file below `root`, which is a volume's source or a folder in it; every name of an inode. Goes as
// TreeEnumerator does, and stays on the file system of `root`.
// `path` is what the person calls `root`. False if it was stopped. Calls the visitor in this thread.
[[nodiscard]] bool walk(int root, const FilePath& path, const Visitor& visitor, std::stop_token stop = {});

}  // namespace FolderWalk
}  // namespace quillbrook
