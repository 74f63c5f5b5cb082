// SPDX-License-Identifier: MIT
#include "Registration/PlaceKind.h"

#include <filesystem>
#include <system_error>

namespace quillbrook::PlaceKind {

Result<std::optional<ItemKind>> at(const FilePath& url) {
  std::error_code failure;
  const auto status = std::filesystem::status(url.bytes(), failure);
  // A circle of links leads to nothing.
  if (status.type() == std::filesystem::file_type::not_found || failure == std::errc::too_many_symbolic_link_levels) {
    return std::nullopt;
  }
  if (failure) return std::unexpected(ErrorNumber{failure.value()});
  return std::filesystem::is_directory(status) ? ItemKind::folder : ItemKind::file;
}

bool isMissing(const FilePath& url) {
  const auto found = at(url);
  return found && !*found;
}

}  // namespace quillbrook::PlaceKind
