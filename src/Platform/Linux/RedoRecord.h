// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/Linux/KeptMetadata.h"

namespace quillbrook {

// What a redo copy tells of the file that it was made for, so that an interrupted expansion can be completed with
// everything that rewriting takes from a file: its times, its set-id bits and its capabilities. Stands as the attribute
// `attributeName` of the copy. A plain value.
struct RedoRecord {
  static constexpr const char* attributeName = "user.quillbrook.target";

  std::uint64_t inode = 0;  // on the file system of the copy
  KeptMetadata kept;
  std::string path;  // beneath the source as it was then; empty if unknown

  // Of an open file; `source` is the folder that the path is told beneath. Errors as of fstat(2) and fgetxattr(2).
  [[nodiscard]] static Result<RedoRecord> of(int source, int file);
  // `attributeMissing` for a copy that never got one; `inputOutput` for what is none of this version.
  [[nodiscard]] static Result<RedoRecord> read(int copy);
  // Without the path if the host's attributes do not hold it.
  [[nodiscard]] Result<void> write(int copy) const;

  // Gives `file` back what rewriting took. A capability that the caller may not set stays lost.
  [[nodiscard]] Result<void> restore(int file) const;
};

}  // namespace quillbrook
