// SPDX-License-Identifier: MIT
#include "Models/SecurityScopedBookmark.h"

namespace quillbrook::SecurityScopedBookmark {

std::expected<std::vector<std::uint8_t>, BookmarkError> create(const FilePath& url) {
  auto bookmark = Bookmark::create(url);
  if (!bookmark) return std::unexpected(CreationFailed{bookmark.error().text()});
  return *std::move(bookmark);
}

std::expected<Resolved, BookmarkError> resolve(std::span<const std::uint8_t> bookmark) {
  auto resolved = Bookmark::resolve(bookmark);
  if (!resolved) return std::unexpected(ResolutionFailed{resolved.error().text()});
  return *std::move(resolved);
}

}  // namespace quillbrook::SecurityScopedBookmark
