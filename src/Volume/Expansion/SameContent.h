// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// Whether two regular files, open for reading, hold the same bytes. Any thread; errors as of fstat(2) and pread(2).
[[nodiscard]] Result<bool> haveSameContent(int first, int second);

}  // namespace quillbrook
