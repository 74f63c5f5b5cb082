// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace quillbrook {

// How far a search has come.
struct SearchProgress {
  std::size_t scanned = 0;  // entries walked, folders and links among them
  std::size_t matched = 0;  // candidates kept
  friend bool operator==(const SearchProgress&, const SearchProgress&) = default;
};

}  // namespace quillbrook
