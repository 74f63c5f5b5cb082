// SPDX-License-Identifier: MIT
#include "Volume/Administration/OwnedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<OwnedFile> OwnedFile::open(int folder, const char* name, int flags) {
  const auto place = SystemCall::openAt(folder, name, O_PATH | O_NOFOLLOW);
  if (!place) return std::unexpected(place.error());
  const auto status = SystemCall::status(place->get());
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode)) return std::unexpected(ErrorNumber::inputOutput);
  // By the descriptor: the name may belong to another file by now.
  const std::string path = SystemCall::pathOf(place->get());
  auto file = SystemCall::openUnnoticed(AT_FDCWD, path.c_str(), flags | O_NONBLOCK);
  if (file) return OwnedFile(std::move(*file), std::nullopt);
  if (file.error() != ErrorNumber{EACCES} || status->st_uid != ::geteuid()) return std::unexpected(file.error());
  const mode_t mode = status->st_mode & 07777;
  if (::chmod(path.c_str(), mode | S_IRUSR | S_IWUSR) != 0) return SystemCall::failure();
  file = SystemCall::openUnnoticed(AT_FDCWD, path.c_str(), flags | O_NONBLOCK);
  if (file) return OwnedFile(std::move(*file), mode);
  ::chmod(path.c_str(), mode);
  return std::unexpected(file.error());
}

OwnedFile::OwnedFile(FileDescriptor file, std::optional<mode_t> mode) : file_(std::move(file)), mode_(mode) {}

OwnedFile::OwnedFile(OwnedFile&& other) noexcept
    : file_(std::move(other.file_)), mode_(std::exchange(other.mode_, std::nullopt)) {}

OwnedFile::~OwnedFile() {
  // The owner may always; if the host refuses, the owner can reach the file, and nobody else more than before.
  if (mode_) ::fchmod(file_.get(), *mode_);
}

}  // namespace quillbrook
