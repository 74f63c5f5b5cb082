// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include "Platform/FilePath.h"
#include "Platform/Linux/InodeNumber.h"

// Which inode a path means to an operation: the file that it has locked, and the work file that it has made. Whoever
// renames files or folders in between makes the path lead elsewhere, and the operation must neither read nor change
// what stands there then. Known to the calling thread alone, in which the whole operation runs. Paths count as they are
// written.
namespace quillbrook::PathBinding {

// In the place of what it was bound to before.
void bind(const FilePath& path, InodeNumber inode);
void unbind(const FilePath& path);

// Nothing for a path that no operation of this thread works on.
[[nodiscard]] std::optional<InodeNumber> find(const FilePath& path);
// Whether the open `inode` is the one that is bound, or none is.
[[nodiscard]] bool allows(const FilePath& path, int inode);

}  // namespace quillbrook::PathBinding
