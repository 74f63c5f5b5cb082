// SPDX-License-Identifier: MIT
#include "Platform/PrivateFile.h"

#include <fcntl.h>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<void> PrivateFile::create(const FilePath& path) {
  const auto file = SystemCall::openAt(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!file) return std::unexpected(file.error());
  return {};
}

}  // namespace quillbrook
