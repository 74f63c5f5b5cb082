// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"

namespace quillbrook {

struct DirectoryEntry {
  std::string name;  // bytes
  FileKind kind = FileKind::other;
  friend bool operator==(const DirectoryEntry&, const DirectoryEntry&) = default;
};

// An open folder, read entry by entry in the order in which the platform gives them. Belongs to one thread at a time;
// closed by its destructor.
class DirectoryReader {
 public:
  virtual ~DirectoryReader() = default;

  // The next entry, nothing at the end. "." and ".." are left out, and so is what a volume keeps for itself at its
  // root. A failure in the middle is told, never taken for the end.
  [[nodiscard]] virtual Result<std::optional<DirectoryEntry>> next() = 0;

  // Tells file systems apart, as st_dev does. All of a mounted volume is one.
  [[nodiscard]] virtual std::uint64_t device() const = 0;

  // The platform's own. A final symbolic link is not followed.
  [[nodiscard]] static Result<std::unique_ptr<DirectoryReader>> open(const FilePath& path);
};

}  // namespace quillbrook
