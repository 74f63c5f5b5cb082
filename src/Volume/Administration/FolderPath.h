// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Places of folders, compared as bytes. Any thread.
namespace FolderPath {

// Absolute, without links, "." and "..", as the mount table writes it. Also of a folder whose mount has lost its
// daemon, since only what lies above it is asked. The last part need not exist.
[[nodiscard]] Result<FilePath> resolve(const FilePath& folder);

// Whether `path` is `folder` or lies in it. Both as resolve() gives them.
[[nodiscard]] bool contains(const FilePath& folder, const FilePath& path);

}  // namespace FolderPath
}  // namespace quillbrook
