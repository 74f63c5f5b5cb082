// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

// The folder in a volume's source that nobody but the volume sees: SOURCE/.quillbrook-volume, mode 0700. Any thread.
namespace quillbrook::PrivateFolder {

// Opens it for reading, made before if need be. `source` is a descriptor of the source folder. Follows no link. Errors
// as of openat(2) and mkdirat(2); `noEntry` if it is taken away at this moment.
[[nodiscard]] Result<FileDescriptor> open(int source);

// Its folder of redo copies, likewise.
[[nodiscard]] Result<FileDescriptor> openRedo(int source);

}  // namespace quillbrook::PrivateFolder
