// SPDX-License-Identifier: MIT
#include "Platform/Linux/ProcessDescriptor.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<FileDescriptor> ProcessDescriptor::open(pid_t process) {
  // By its number: the header of glibc 2.36 does not give the function its C name.
  const long descriptor = ::syscall(SYS_pidfd_open, process, 0);
  if (descriptor < 0) return SystemCall::failure();
  return FileDescriptor(static_cast<int>(descriptor));
}

}  // namespace quillbrook
