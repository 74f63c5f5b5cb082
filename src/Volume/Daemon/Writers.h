// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>

namespace quillbrook {

// Whether nobody can write to an open file, neither by a handle nor by a map: the kernel grants a lease on reading only
// then. It ends with the descriptor. Only the file's owner and root are answered.
[[nodiscard]] inline bool isFreeOfWriters(int file) {
  return fcntl(file, F_SETLEASE, F_RDLCK) == 0;
}

}  // namespace quillbrook
