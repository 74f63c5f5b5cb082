// SPDX-License-Identifier: MIT
#include "Platform/Linux/MountTableWatch.h"

#include <fcntl.h>
#include <poll.h>

#include <utility>

#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

bool MountTableWatch::hasChanged() {
  if (table_.isOpen()) {
    struct pollfd change{.fd = table_.get(), .events = POLLPRI, .revents = 0};
    return ::poll(&change, 1, 0) != 0;
  }
  auto table = SystemCall::openAt(AT_FDCWD, MountTable::path, O_RDONLY);
  if (table) table_ = std::move(*table);
  return true;
}

}  // namespace quillbrook
