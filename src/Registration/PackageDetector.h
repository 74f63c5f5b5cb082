// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FileKind.h"
#include "Platform/FilePath.h"

// A package is a folder that the program which owns it shows as one file. No file system here knows of packages, so the
// extension of the folder's name tells.
namespace quillbrook::PackageDetector {

[[nodiscard]] bool isPackage(const FilePath& url, FileKind kind);

}  // namespace quillbrook::PackageDetector
