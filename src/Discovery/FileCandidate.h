// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Platform/FilePath.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// A file that a search came to.
struct FileCandidate {
  FilePath url;
  std::uint64_t size = 0;  // logical, in bytes
  Timestamp modificationDate = {};
  bool isHidden = false;             // its own name begins with "."
  bool isAlreadyCompressed = false;  // as the search's checker says
  friend bool operator==(const FileCandidate&, const FileCandidate&) = default;
};

}  // namespace quillbrook
