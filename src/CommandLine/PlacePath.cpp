// SPDX-License-Identifier: MIT
#include "CommandLine/PlacePath.h"

#include <filesystem>
#include <system_error>

#include "Registration/CanonicalPath.h"

namespace quillbrook {

Result<FilePath> placePath(const FilePath& named) {
  if (named.bytes().starts_with('/')) return canonicalPath(named);
  if (named.bytes().empty()) return std::unexpected(ErrorNumber::noEntry);
  std::error_code failure;
  const auto current = std::filesystem::current_path(failure);
  if (failure) return std::unexpected(ErrorNumber{failure.value()});
  return canonicalPath(FilePath(current.native()).appending(named.bytes()));
}

}  // namespace quillbrook
