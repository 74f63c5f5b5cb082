// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// A file opened for the sake of its lock alone. Closing it, by the destructor, gives the lock up. While it is locked,
// the platform answers `stale` to whoever would read or change another file at its path, in the thread that locked it.
class LockableFile {
 public:
  virtual ~LockableFile() = default;
  // flock(LOCK_EX | LOCK_NB), and whatever more the platform needs to see writers: `wouldBlock` while another holds
  // the lock or has the file open for writing.
  [[nodiscard]] virtual Result<void> flock() = 0;
  // Whether the lock still holds, asked of the kernel: false once any program has opened the file for writing since.
  [[nodiscard]] virtual bool isHeld() const = 0;
};

}  // namespace quillbrook
