// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A place as the registry compares it: absolute, from the current folder on if it must be, "." and ".." resolved in the
// text alone. Fails where the current folder is gone.
[[nodiscard]] Result<FilePath> placePath(const FilePath& named);

}  // namespace quillbrook
