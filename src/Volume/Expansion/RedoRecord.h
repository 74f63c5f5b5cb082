// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// What a redo copy tells of the file that it was made for, so that an interrupted expansion can be completed with
// everything that rewriting takes from a file: its times, its set-id bits and its capabilities. Stands as the attribute
// `attributeName` of the copy.
struct RedoRecord {
  static constexpr const char* attributeName = "user.quillbrook.target";

  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t mode = 0;  // permissions and set-id bits
  timespec accessTime{};
  timespec modificationTime{};
  std::vector<std::uint8_t> capability;  // value of security.capability, empty if there is none
  std::string path;                      // beneath the source as it was then; empty if unknown

  // Of an open file; `source` is the folder that the path is told beneath.
  [[nodiscard]] static Result<RedoRecord> of(int source, int file);
  [[nodiscard]] static Result<RedoRecord> read(int copy);
  [[nodiscard]] Result<void> write(int copy) const;

  // Gives `file` back what rewriting took.
  [[nodiscard]] Result<void> restore(int file) const;
};

}  // namespace quillbrook
