// SPDX-License-Identifier: MIT
#include "Volume/Administration/OwnedOpen.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<FileDescriptor> openOwnedFile(int folder, const char* name, int flags) {
  const FileDescriptor place(::openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat status{};
  if (!place.isOpen() || ::fstat(place.get(), &status) != 0) return SystemCall::failure();
  if (!S_ISREG(status.st_mode)) return std::unexpected(ErrorNumber::inputOutput);
  // By the descriptor: the name may belong to another file by now.
  const std::string path = SystemCall::pathOf(place.get());
  FileDescriptor file(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC));
  if (file.isOpen()) return file;
  if (errno != EACCES || status.st_uid != ::geteuid()) return SystemCall::failure();
  const mode_t mode = status.st_mode & 07777;
  if (::chmod(path.c_str(), mode | S_IRUSR | S_IWUSR) != 0) return SystemCall::failure();
  file = FileDescriptor(::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC));
  const ErrorNumber reason{errno};
  if (::chmod(path.c_str(), mode) != 0) return SystemCall::failure();
  if (!file.isOpen()) return std::unexpected(reason);
  return file;
}

}  // namespace quillbrook
