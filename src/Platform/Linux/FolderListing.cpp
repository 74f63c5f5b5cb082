// SPDX-License-Identifier: MIT
#include "Platform/Linux/FolderListing.h"

#include <fcntl.h>

#include <cerrno>
#include <string_view>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<FolderListing> FolderListing::open(int folder, const char* name) {
  auto opened = SystemCall::openAt(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!opened) return std::unexpected(opened.error());
  Stream stream(::fdopendir(opened->get()));
  if (stream == nullptr) return SystemCall::failure();
  static_cast<void>(opened->release());  // the stream closes it
  return FolderListing(std::move(stream));
}

Result<std::optional<FolderListing::Entry>> FolderListing::next() {
  for (;;) {
    errno = 0;  // the only way to tell the end from a failure
    const dirent* entry = ::readdir(stream_.get());
    if (entry == nullptr) {
      if (errno != 0) return SystemCall::failure();
      return std::nullopt;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return Entry{.name = entry->d_name, .type = entry->d_type, .inode = entry->d_ino};
  }
}

}  // namespace quillbrook
