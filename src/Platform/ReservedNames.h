// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

// Names that mean something to this system wherever they stand.
namespace quillbrook::ReservedNames {

// The two extended attributes that hold a compressed file's payload.
inline constexpr std::string_view decmpfs = "com.apple.decmpfs";
inline constexpr std::string_view resourceFork = "com.apple.ResourceFork";

// What a work file's name ends with, behind a dot and the name of the file that it will replace, and the attribute
// that marks one as this system's own.
inline constexpr std::string_view workFileExtension = "slimtmp";
inline constexpr std::string_view workFileMarker = "com.studiomerlin.quillbrook.slimtmp";

// Whether `name`, which is no path, can be a work file's.
[[nodiscard]] constexpr bool isWorkFileName(std::string_view name) {
  if (!name.ends_with(workFileExtension)) return false;
  name.remove_suffix(workFileExtension.size());
  return name.size() > 1 && name.ends_with('.');
}

}  // namespace quillbrook::ReservedNames
