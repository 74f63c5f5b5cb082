// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// Opens the regular file `name` in `folder`, no link, with `flags` of open(2). A file that its owner's own permissions
// close is opened for a moment, so that a read-only file can be restored by whoever it belongs to; nothing is written
// while it is. `inputOutput` if it is no regular file.
[[nodiscard]] Result<FileDescriptor> openOwnedFile(int folder, const char* name, int flags);

}  // namespace quillbrook
