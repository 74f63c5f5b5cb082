// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// Tells whether anything was mounted or unmounted. Belongs to one thread at a time.
class MountTableWatch {
 public:
  // Since this was asked last; true the first time, and wherever it cannot be told.
  [[nodiscard]] bool hasChanged();

 private:
  FileDescriptor table_;  // polled
};

}  // namespace quillbrook
