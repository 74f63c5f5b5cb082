// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

// A process as something that poll(2) can wait for. Any thread.
namespace quillbrook::ProcessDescriptor {

// Readable once the process has ended, also if it is nobody's child here. Errors as of pidfd_open(2): ESRCH if there is
// none of that number.
[[nodiscard]] Result<FileDescriptor> open(pid_t process);

}  // namespace quillbrook::ProcessDescriptor
