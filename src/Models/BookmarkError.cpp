// SPDX-License-Identifier: MIT
#include "Models/BookmarkError.h"

namespace quillbrook {

std::string describe(const BookmarkError& error) {
  if (const auto* creation = std::get_if<CreationFailed>(&error))
    return "creationFailed(reason: " + creation->reason + ")";
  return "resolutionFailed(reason: " + std::get<ResolutionFailed>(error).reason + ")";
}

}  // namespace quillbrook
