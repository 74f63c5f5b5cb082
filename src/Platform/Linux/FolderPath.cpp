// SPDX-License-Identifier: MIT
#include "Platform/Linux/FolderPath.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {
namespace {

Result<FilePath> realPath(const FilePath& path) {
  std::error_code error;
  const auto real = std::filesystem::canonical(path.bytes(), error);
  if (error) return std::unexpected(ErrorNumber{error.value()});
  return FilePath(real.native());
}

}  // namespace

Result<FilePath> FolderPath::resolve(const FilePath& folder) {
  // Its parent would be the current folder: what nobody named is no place.
  if (folder.empty()) return std::unexpected(ErrorNumber::noEntry);
  auto real = realPath(folder);
  if (real || folder.name() == "." || folder.name() == "..") return real;
  const auto parent = realPath(folder.parent());
  if (!parent) return std::unexpected(real.error());
  return parent->appending(folder.name());
}

Result<FilePath> FolderPath::of(int descriptor) {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink(SystemCall::pathOf(descriptor).c_str(), path.data(), path.size());
  if (length < 0) return SystemCall::failure();
  if (length == 0 || path.front() != '/') return std::unexpected(ErrorNumber::noEntry);
  return FilePath(std::string(path.data(), static_cast<std::size_t>(length)));
}

Result<FileDescriptor> FolderPath::openAbove(int folder) {
  auto above = SystemCall::openAt(folder, "..", O_PATH | O_DIRECTORY);
  if (!above) return above;
  const auto here = SystemCall::status(folder);
  if (!here) return std::unexpected(here.error());
  const auto there = SystemCall::status(above->get());
  if (!there) return std::unexpected(there.error());
  if (there->st_dev == here->st_dev && there->st_ino == here->st_ino) return std::unexpected(ErrorNumber::noEntry);
  return above;
}

std::optional<std::string> FolderPath::beneath(std::string_view folder, std::string_view path) {
  if (!path.starts_with(folder)) return std::nullopt;
  const bool isRoot = folder.ends_with('/');
  path.remove_prefix(folder.size());
  if (path.empty()) return ".";
  if (isRoot) return std::string(path);
  if (!path.starts_with('/')) return std::nullopt;
  return std::string(path.substr(1));
}

bool FolderPath::contains(const FilePath& outer, const FilePath& inner) {
  return beneath(outer.bytes(), inner.bytes()).has_value();
}

}  // namespace quillbrook
