// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <span>
#include <vector>

#include "Models/BookmarkError.h"
#include "Platform/Bookmark.h"
#include "Platform/FilePath.h"

// How a registered item is kept: as bytes that lead to it again. Resolved each time that the place is needed; one that
// has become stale is used as it is, and nobody writes another over it. Any thread.
namespace quillbrook::SecurityScopedBookmark {

using Resolved = Bookmark::Resolved;

// `creationFailed`
[[nodiscard]] std::expected<std::vector<std::uint8_t>, BookmarkError> create(const FilePath& url);

// `resolutionFailed`
[[nodiscard]] std::expected<Resolved, BookmarkError> resolve(std::span<const std::uint8_t> bookmark);

}  // namespace quillbrook::SecurityScopedBookmark
