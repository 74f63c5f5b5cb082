// SPDX-License-Identifier: MIT
#include "Volume/Administration/RedoCopies.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>
#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Administration/ParsedNumber.h"

namespace quillbrook {

FilePath RedoCopies::path(const FilePath& source) {
  return source.appending(VolumeProtocol::privateFolder).appending(VolumeProtocol::redoFolder);
}

Result<std::vector<std::uint32_t>> RedoCopies::list(int source) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  const FileDescriptor parent(::openat(source, std::string(VolumeProtocol::privateFolder).c_str(), flags));
  FileDescriptor folder;
  if (parent.isOpen())
    folder = FileDescriptor(::openat(parent.get(), std::string(VolumeProtocol::redoFolder).c_str(), flags));
  std::vector<std::uint32_t> identifiers;
  if (!folder.isOpen()) {
    if (errno == ENOENT) return identifiers;
    return SystemCall::failure();
  }
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::fdopendir(folder.get()));
  if (!stream) return SystemCall::failure();
  (void)folder.release();  // the stream's now
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr && errno != 0) return SystemCall::failure();
    if (entry == nullptr) return identifiers;
    if (const auto identifier = parsedNumber<std::uint32_t>(entry->d_name)) identifiers.push_back(*identifier);
  }
}

}  // namespace quillbrook
