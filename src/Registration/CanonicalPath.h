// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/FilePath.h"

namespace quillbrook {

// The one form in which places are compared: "." and "..", doubled and trailing "/" resolved in the text alone, "/"
// itself staying. Asks no file system: symbolic links stay unresolved, and names that differ in case are two places.
[[nodiscard]] FilePath canonicalPath(const FilePath& url);

}  // namespace quillbrook
