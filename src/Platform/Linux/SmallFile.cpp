// SPDX-License-Identifier: MIT
#include "Platform/Linux/SmallFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<std::string> SmallFile::read(const FilePath& path) {
  // A pipe that nobody writes to would be waited for without end.
  const auto file = SystemCall::openAt(AT_FDCWD, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file) return std::unexpected(file.error());
  const auto status = SystemCall::status(file->get());
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode)) return std::unexpected(ErrorNumber{S_ISDIR(status->st_mode) ? EISDIR : EINVAL});
  std::string content;
  std::array<char, 16'384> buffer;
  for (;;) {
    const auto count = SystemCall::retrying([&] { return ::read(file->get(), buffer.data(), buffer.size()); });
    if (count < 0) return SystemCall::failure();
    if (count == 0) return content;
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

Result<void> SmallFile::replace(const FilePath& path, std::string_view content) {
  std::string work = path.bytes() + ".XXXXXX";
  const FileDescriptor file(::mkostemp(work.data(), O_CLOEXEC));
  if (!file.isOpen()) return SystemCall::failure();
  const auto steps = [&]() -> Result<void> {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    if (const auto written = SystemCall::writeAll(file.get(), 0, bytes); !written) return written;
    if (::fchmod(file.get(), 0644) != 0 || ::fsync(file.get()) != 0 || ::rename(work.c_str(), path.c_str()) != 0) {
      return SystemCall::failure();
    }
    return {};
  };
  const auto done = steps();
  if (!done) ::unlink(work.c_str());
  return done;
}

}  // namespace quillbrook
