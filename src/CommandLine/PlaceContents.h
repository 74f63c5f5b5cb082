// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <stop_token>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/OpenEnumerator.h"
#include "Registration/ItemKind.h"

namespace quillbrook {

// What a registered place holds. Sizes are bytes.
struct PlaceContents {
  std::uint64_t files = 0;  // regular ones, work files and the insides of packages left out
  std::uint64_t compressed = 0;
  std::uint64_t compressable = 0;  // a run would try them: not compressed, and large enough for it to be worth it
  std::uint64_t logicalSize = 0;
  std::uint64_t physicalSize = 0;
  std::uint64_t saved = 0;       // by the compressed ones
  std::uint64_t unreadable = 0;  // files that could not be looked at, and folders that could not be read
  friend bool operator==(const PlaceContents&, const PlaceContents&) = default;

  // Walks the place; between two entries a request to stop ends that. Errors as of opening the place.
  [[nodiscard]] static Result<PlaceContents> of(const FilePath& place, ItemKind kind, bool includeSubfolders,
                                                FileSystem& fileSystem, const OpenEnumerator& open,
                                                const std::stop_token& stop);
};

}  // namespace quillbrook
