// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A place as the registry compares it: absolute, from the current folder on if it must be. "a/link/.." is the folder
// that the link's target lies in, as everywhere; other links stay. `noEntry` for no name at all, else as of asking for
// the current folder.
[[nodiscard]] Result<FilePath> placePath(const FilePath& named);

}  // namespace quillbrook
