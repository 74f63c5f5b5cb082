// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Models/StoreDate.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// A file that did not shrink when it was last tried.
struct IncompressibleFile {
  FilePath targetPath;  // absolute; one row a path: a second one takes the place of the first
  StoreDate recordedAt;
  std::int64_t sizeAtRecord = 0;  // logical bytes

  friend bool operator==(const IncompressibleFile&, const IncompressibleFile&) = default;
};

}  // namespace quillbrook
