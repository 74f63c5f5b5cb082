// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

// Opaque bytes that lead to a file or folder again, also after it was given another name. A file that was compressed or
// decompressed is found at its path; renamed after that, it is not. No other file is ever taken for it, but for one
// that stands at its path. Any thread.
namespace quillbrook::Bookmark {

struct Resolved {
  FilePath url;
  // It was not found at its path, or what stands there has another inode by now.
  bool isStale = false;
  friend bool operator==(const Resolved&, const Resolved&) = default;
};

// Of what stands at the absolute path, itself if it is a symbolic link. `invalid` for a relative one, else as of lstat.
[[nodiscard]] Result<std::vector<std::uint8_t>> create(const FilePath& url);

// At its path if anything stands there; else the same inode, born at the same moment, by another name in its folder or,
// where the process may look for that, anywhere on its file system, which may take a walk through all of it. `invalid`
// for bytes that are no bookmark, `noEntry` if it is not found, else why the path cannot be looked at.
[[nodiscard]] Result<Resolved> resolve(std::span<const std::uint8_t> bookmark);

}  // namespace quillbrook::Bookmark
