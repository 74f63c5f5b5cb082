// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

// Files that nobody but their owner may read.
namespace quillbrook::PrivateFile {

// Makes an empty one, mode 0600 from the start; `exists` if anything has that name, which is not opened then.
[[nodiscard]] Result<void> create(const FilePath& path);

}  // namespace quillbrook::PrivateFile
