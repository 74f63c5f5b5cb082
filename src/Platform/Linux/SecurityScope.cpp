// SPDX-License-Identifier: MIT
#include "Platform/SecurityScope.h"

#include <fcntl.h>

#include <utility>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

struct SecurityScope::Hold {
  FileDescriptor place;  // an open descriptor keeps its mount busy
};

SecurityScope::SecurityScope() = default;
SecurityScope::~SecurityScope() = default;
SecurityScope::SecurityScope(SecurityScope&&) noexcept = default;
SecurityScope& SecurityScope::operator=(SecurityScope&&) noexcept = default;

bool SecurityScope::start(const FilePath& url) {
  auto place = SystemCall::openAt(AT_FDCWD, url.c_str(), O_PATH | O_NOFOLLOW);
  if (!place) return false;
  hold_ = std::make_unique<Hold>(std::move(*place));
  return true;
}

void SecurityScope::stop() {
  hold_.reset();
}

}  // namespace quillbrook
