// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FilePath.h"

// Every walk stops at a package: its inside is the concern of the program that owns it, and rewriting it may break that
// program's signature. The exception are archives of builds, which hold large files for later use. Any thread.
namespace quillbrook::PackageTraversalPolicy {

// Whether any part of the path, not only the last, is named like a package that walks do enter: what lies in one is
// walked to the bottom, packages too.
[[nodiscard]] bool isInsideTraversablePackage(const FilePath& url);

[[nodiscard]] bool shouldSkipDescendants(const FilePath& url, bool isPackage);

}  // namespace quillbrook::PackageTraversalPolicy
