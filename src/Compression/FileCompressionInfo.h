// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Compression/FileCompressionStatus.h"

namespace quillbrook {

// What inspection tells of one path.
struct FileCompressionInfo {
  FileCompressionStatus status;
  std::uint64_t logicalSize = 0;  // bytes: st_size
  // Bytes occupied: the blocks, or for a compressed file the payload's length where that is more.
  std::uint64_t physicalSize = 0;

  friend bool operator==(const FileCompressionInfo&, const FileCompressionInfo&) = default;
};

}  // namespace quillbrook
