// SPDX-License-Identifier: MIT
#include "CommandLine/PlacePath.h"

#include <filesystem>
#include <system_error>

#include "Registration/CanonicalPath.h"

namespace quillbrook {

namespace {

// Behind a link, ".." leads elsewhere than the text says: up to the last of them the file system is asked.
std::filesystem::path withoutParents(const std::filesystem::path& path) {
  std::filesystem::path upToLast;
  std::filesystem::path rest;
  for (const auto& part : path) {
    rest /= part;
    if (part != "..") continue;
    upToLast /= rest;
    rest.clear();
  }
  if (upToLast.empty()) return path;
  std::error_code failure;
  const auto resolved = std::filesystem::canonical(upToLast, failure);
  return failure ? path : resolved / rest;
}

}  // namespace

Result<FilePath> placePath(const FilePath& named) {
  if (named.bytes().empty()) return std::unexpected(ErrorNumber::noEntry);
  std::error_code failure;
  const auto absolute = std::filesystem::absolute(named.bytes(), failure);
  if (failure) return std::unexpected(ErrorNumber{failure.value()});
  return canonicalPath(FilePath(withoutParents(absolute).native()));
}

}  // namespace quillbrook
