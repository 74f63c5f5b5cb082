// SPDX-License-Identifier: MIT
#include "Volume/Administration/SmallFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

Result<std::string> SmallFile::read(const FilePath& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return std::unexpected(ErrorNumber{errno});
  std::string content;
  std::array<char, 16'384> buffer{};
  for (;;) {
    const ssize_t count = ::read(file.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(ErrorNumber{errno});
    if (count == 0) return content;
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

Result<void> SmallFile::replace(const FilePath& path, std::string_view content) {
  std::string work = path.bytes() + ".XXXXXX";
  const FileDescriptor file(::mkostemp(work.data(), O_CLOEXEC));
  if (!file.isOpen()) return std::unexpected(ErrorNumber{errno});
  const auto failed = [&] {
    const ErrorNumber reason{errno};
    ::unlink(work.c_str());
    return std::unexpected(reason);
  };
  while (!content.empty()) {
    const ssize_t count = ::write(file.get(), content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed();
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  if (::fchmod(file.get(), 0644) != 0 || ::fsync(file.get()) != 0 || ::rename(work.c_str(), path.c_str()) != 0) {
    return failed();
  }
  return {};
}

}  // namespace quillbrook
