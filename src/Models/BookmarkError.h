// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>

namespace quillbrook {

struct CreationFailed {
  std::string reason;  // the system's words
  friend bool operator==(const CreationFailed&, const CreationFailed&) = default;
};
struct ResolutionFailed {
  std::string reason;  // the system's words
  friend bool operator==(const ResolutionFailed&, const ResolutionFailed&) = default;
};
using BookmarkError = std::variant<CreationFailed, ResolutionFailed>;

// "creationFailed(reason: No such file or directory)". Words for the user are the caller's.
[[nodiscard]] std::string describe(const BookmarkError& error);

}  // namespace quillbrook
