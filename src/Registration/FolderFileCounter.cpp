// SPDX-License-Identifier: MIT
#include "Registration/FolderFileCounter.h"

#include "Platform/ReservedNames.h"
#include "Registration/PackageDetector.h"
#include "Registration/PackageTraversalPolicy.h"
#include "Registration/PlaceKind.h"

namespace quillbrook::FolderFileCounter {

std::expected<std::size_t, FolderFileCounterError> count(const FilePath& url, bool includeSubfolders,
                                                         const std::stop_token& stop, const OpenEnumerator& open) {
  using Depth = DirectoryEnumerator::Depth;
  if (stop.stop_requested()) return std::unexpected(Cancelled{});
  const auto entries = open(url, includeSubfolders ? Depth::recursive : Depth::direct);
  if (!entries) {
    if (PlaceKind::isMissing(url)) return std::unexpected(FolderNotFound{url});
    return std::unexpected(NotADirectory{url});
  }
  // What was left out is not asked for: the count is a hint, and comes out lower.
  std::size_t count = 0;
  while (const auto entry = (*entries)->next()) {
    if (stop.stop_requested()) return std::unexpected(Cancelled{});
    const bool isPackage = PackageDetector::isPackage(entry->path, entry->kind);
    if (PackageTraversalPolicy::shouldSkipDescendants(entry->path, isPackage)) (*entries)->skipDescendants();
    if (entry->kind == FileKind::regular && !ReservedNames::isWorkFileName(entry->path.name())) ++count;
  }
  return count;
}

}  // namespace quillbrook::FolderFileCounter
