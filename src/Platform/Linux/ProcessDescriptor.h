// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// A process as something that poll(2) can wait for. Any thread.
namespace ProcessDescriptor {

// Readable once the process has ended, whoever's child it is. Errors as of pidfd_open(2): ESRCH if there is none of
// that number.
[[nodiscard]] Result<FileDescriptor> open(pid_t process);

}  // namespace ProcessDescriptor
}  // namespace quillbrook
