// SPDX-License-Identifier: MIT
#pragma once

#include <variant>

#include "Platform/FilePath.h"
#include "Registration/PendingCloudWarning.h"

namespace quillbrook {

// Nothing is there.
struct LocationMissing {
  FilePath url;
  friend bool operator==(const LocationMissing&, const LocationMissing&) = default;
};
// The user is shown how many files it holds, and decides about its subfolders.
struct FolderToCount {
  FilePath url;
  friend bool operator==(const FolderToCount&, const FolderToCount&) = default;
};
// It is registered at once, without subfolders.
struct FileToRegister {
  FilePath url;
  friend bool operator==(const FileToRegister&, const FileToRegister&) = default;
};

// What comes next for a place that the user opened or dropped.
using AddDecision = std::variant<LocationMissing, PendingCloudWarning, FolderToCount, FileToRegister>;

}  // namespace quillbrook
