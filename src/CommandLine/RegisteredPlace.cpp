// SPDX-License-Identifier: MIT
#include "CommandLine/RegisteredPlace.h"

#include <utility>

#include "Platform/Bookmark.h"
#include "Registration/CanonicalPath.h"

namespace quillbrook {

StoreResult<std::vector<RegisteredPlace>> RegisteredPlace::all(StoreContext& context) {
  auto rows = context.fetch<RegisteredItem>();
  if (!rows) return std::unexpected(rows.error());
  std::vector<RegisteredPlace> places;
  places.reserve(rows->size());
  for (auto& [handle, item] : *rows) {
    const auto found = Bookmark::resolve(item.bookmark);
    FilePath url = found ? canonicalPath(found->url) : FilePath("/__unresolved__").appending(item.displayName.bytes());
    places.push_back({.row = handle,
                      .item = std::move(item),
                      .url = std::move(url),
                      .failure = found ? std::nullopt : std::optional(found.error())});
  }
  return places;
}

}  // namespace quillbrook
