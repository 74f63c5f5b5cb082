// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"

// The folder in a volume's source that nobody but the volume sees: SOURCE/.quillbrook-volume, mode 0700, and in it the
// folder of redo copies. `source` is a descriptor of the source folder. Follows no link. Any thread.
namespace quillbrook::PrivateFolder {

// Open for reading, made before if need be. Errors as of openat(2) and mkdirat(2); `noEntry` if it is taken away at
// this moment; `notPermitted` if it is a link or a file, neither the caller's nor root's, or others may write in it,
// since what stands there is obeyed.
[[nodiscard]] Result<FileDescriptor> open(int source);
[[nodiscard]] Result<FileDescriptor> openRedo(int source);

// Open for reading if it is there: `noEntry` if not. Makes nothing.
[[nodiscard]] Result<FileDescriptor> find(int source);
[[nodiscard]] Result<FileDescriptor> findRedo(int source);
// Whether anything has its name there.
[[nodiscard]] bool exists(int source);
// The folder of copies in a private folder that is open already.
[[nodiscard]] Result<FileDescriptor> findRedoIn(int privateFolder);

// Whether a daemon serves this folder or one above it, as far as the caller may see that.
[[nodiscard]] bool isServedAbove(int folder);

// Where the copies lie, for the person.
[[nodiscard]] FilePath redoPath(const FilePath& source);

}  // namespace quillbrook::PrivateFolder
