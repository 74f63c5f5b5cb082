// SPDX-License-Identifier: MIT
#include "Volume/Administration/DaemonProgram.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <ranges>
#include <string>
#include <utility>

#include "Platform/Linux/FolderPath.h"

namespace quillbrook {

FilePath DaemonProgram::ownFolder() {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink("/proc/self/exe", target.data(), target.size());
  if (length <= 0) return {};
  return FilePath(std::string(target.data(), static_cast<std::size_t>(length))).parent();
}

std::expected<FilePath, VolumeError> DaemonProgram::find() {
  VolumeErrors::DaemonMissing missing;
  std::vector<FilePath> folders{ownFolder()};
  const char* path = std::getenv("PATH");
  for (const auto part : std::views::split(std::string_view(path == nullptr ? "" : path), ':')) {
    folders.emplace_back(std::string(part.begin(), part.end()));
  }
  for (FilePath& folder : folders) {
    if (!folder.bytes().starts_with('/')) continue;  // never from wherever the caller happens to stand
    const FilePath program = folder.appending(name);
    if (::access(program.c_str(), X_OK) == 0) return FolderPath::resolve(program).value_or(program);
    missing.searched.push_back(std::move(folder));
  }
  return std::unexpected(std::move(missing));
}

}  // namespace quillbrook
