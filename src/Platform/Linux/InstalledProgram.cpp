// SPDX-License-Identifier: MIT
#include "Platform/Linux/InstalledProgram.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <ranges>
#include <string>
#include <system_error>
#include <utility>

#include "Platform/Linux/FolderPath.h"

namespace quillbrook::InstalledProgram {

FilePath ownFolder() {
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlink("/proc/self/exe", target.data(), target.size());
  if (length <= 0) return {};
  return FilePath(std::string(target.data(), static_cast<std::size_t>(length))).parent();
}

std::expected<FilePath, std::vector<FilePath>> find(std::string_view name) {
  std::vector<FilePath> searched;
  std::vector<FilePath> folders{ownFolder()};
  const char* path = std::getenv("PATH");
  for (const auto part : std::views::split(std::string_view(path == nullptr ? "" : path), ':')) {
    folders.emplace_back(std::string(part.begin(), part.end()));
  }
  for (FilePath& folder : folders) {
    if (!folder.bytes().starts_with('/')) continue;  // never from wherever the caller happens to stand
    const FilePath program = folder.appending(name);
    std::error_code unknown;  // what cannot be looked at is none
    if (::access(program.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(program.bytes(), unknown)) {
      return FolderPath::resolve(program).value_or(program);
    }
    searched.push_back(std::move(folder));
  }
  return std::unexpected(std::move(searched));
}

}  // namespace quillbrook::InstalledProgram
