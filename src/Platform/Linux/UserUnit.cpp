// SPDX-License-Identifier: MIT
#include "Platform/Linux/UserUnit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/StandardFolders.h"

namespace quillbrook::UserUnit {
namespace {

std::unexpected<UserUnitError> failure(const char* action, const FilePath& path, ErrorNumber reason) {
  return std::unexpected<UserUnitError>(UserUnitErrors::SystemFailure{action, path, reason});
}

std::expected<void, UserUnitError> makeFolder(const FilePath& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder.bytes(), error);
  if (error) return failure("create", folder, ErrorNumber{error.value()});
  return {};
}

}  // namespace

FilePath file(std::string_view unit) {
  const FilePath configuration = StandardFolders::configuration();
  return FolderPath::resolve(configuration).value_or(configuration).appending("systemd/user").appending(unit);
}

FilePath link(std::string_view target, std::string_view unit) {
  return file(std::string(target) + ".wants").appending(unit);
}

std::string quoted(const FilePath& program) {
  std::string text = "\"";
  for (const char byte : program.bytes()) {
    if (byte == '"' || byte == '\\') text += '\\';
    if (byte == '%') text += byte;
    text += byte;
  }
  return text + '"';
}

std::string filled(std::string_view text, std::string_view placeholder, std::string_view value) {
  std::string whole(text);
  // What was put in is not looked at again.
  for (std::size_t at = whole.find(placeholder); at != std::string::npos;
       at = whole.find(placeholder, at + value.size())) {
    whole.replace(at, placeholder.size(), value);
  }
  return whole;
}

std::expected<void, UserUnitError> write(const FilePath& file, std::string_view text) {
  if (auto made = makeFolder(file.parent()); !made) return made;
  if (const auto written = SmallFile::replace(file, text); !written) return failure("write", file, written.error());
  return {};
}

std::expected<void, UserUnitError> enable(const FilePath& link, std::string_view unitFileName) {
  if (auto made = makeFolder(link.parent()); !made) return made;
  const std::string target = "../" + std::string(unitFileName);
  if (::symlink(target.c_str(), link.c_str()) == 0) return {};
  const ErrorNumber reason{errno};
  // Another link does, since it was put there by somebody who knows why.
  struct stat status{};
  const bool isLink = ::lstat(link.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  if (reason.value == EEXIST && isLink) return {};
  return failure("create", link, reason);
}

bool isEnabled(const FilePath& link) {
  return ::faccessat(AT_FDCWD, link.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::expected<void, UserUnitError> remove(const FilePath& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
    return failure("remove", path, ErrorNumber{errno});
  return {};
}

}  // namespace quillbrook::UserUnit
