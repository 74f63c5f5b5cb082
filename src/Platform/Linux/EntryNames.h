// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// What a folder holds, in the order of the names' bytes: read at once, handed out one by one. Takes ten bytes over each
// name. Belongs to one thread.
class EntryNames {
 public:
  struct Entry {
    const char* name;    // lives as long as the names, also when they are moved
    unsigned char type;  // DT_REG, DT_DIR and so on; DT_UNKNOWN where the host does not tell
  };

  // Reads the open folder from its position to its end, but "." and "..", through `buffer`. What was read before a
  // failure is there; the failure goes to `failure`.
  static EntryNames read(int folder, std::span<std::byte> buffer, std::optional<ErrorNumber>& failure);

  // Nothing at the end.
  [[nodiscard]] std::optional<Entry> next();

 private:
  std::vector<char> bytes_;  // of each entry its type, its name, a zero byte
  std::vector<std::size_t> order_;
  std::size_t position_ = 0;
};

}  // namespace quillbrook
