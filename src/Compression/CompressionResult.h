// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Compression/Header/CompressionType.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// What one successful operation did.
struct CompressionResult {
  FilePath url;
  std::int64_t bytesBefore = 0;  // the logical size at the start
  // After compress the blocks that the new file occupies, times 512; after decompress the number of bytes written.
  std::int64_t bytesAfter = 0;
  std::optional<CompressionType> algorithm;  // none after decompress

  friend bool operator==(const CompressionResult&, const CompressionResult&) = default;
};

}  // namespace quillbrook
