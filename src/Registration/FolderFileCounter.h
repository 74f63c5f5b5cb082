// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <expected>
#include <stop_token>

#include "Platform/DirectoryEnumerator.h"
#include "Platform/FilePath.h"
#include "Platform/OpenEnumerator.h"
#include "Registration/FolderFileCounterError.h"

// How many files does registering a folder take in.
namespace quillbrook::FolderFileCounter {

// The regular files directly in the folder, or all below it: hidden ones too, links not, nothing within a package, no
// work files. What cannot be read does not count. Blocks its thread until it is done or, between two entries, `stop`
// is requested.
[[nodiscard]] std::expected<std::size_t, FolderFileCounterError> count(
    const FilePath& url, bool includeSubfolders, const std::stop_token& stop,
    const OpenEnumerator& open = DirectoryEnumerator::open);

}  // namespace quillbrook::FolderFileCounter
