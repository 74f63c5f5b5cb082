// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "Platform/ErrorNumber.h"
#include "Platform/FileKind.h"
#include "Platform/FilePath.h"
#include "Platform/FileStatus.h"

namespace quillbrook {

// The one walk of the program through a folder: depth first, the entries of a folder in the order of their names'
// bytes, each folder before what lies in it, hidden entries included. Follows no symbolic link. Enters no other file
// system than the root's, but a volume that is mounted over a folder of it, which is that folder as everybody sees it;
// leaves out what a volume keeps for itself. Entries may vanish or be swapped meanwhile: what next() tells of was
// there, and nothing outside the root is ever looked at. Holds the names of the folders that it is in, at most 80 bytes
// over each name.
//
// Belongs to one thread at a time.
class DirectoryEnumerator {
 public:
  enum class Depth : std::uint8_t { direct, recursive };

  struct Entry {
    FilePath path;  // the root's as it was given, and the names below it
    FileKind kind = FileKind::other;
    std::size_t level = 1;  // 1 directly in the root
  };

  // A folder whose content was left out, all of it or what was left to read.
  struct Omission {
    FilePath folder;
    // Why it could not be read; nothing: another file system begins there.
    std::optional<ErrorNumber> error;
  };

  virtual ~DirectoryEnumerator() = default;

  // Nothing at the end.
  [[nodiscard]] virtual std::optional<Entry> next() = 0;

  // Of the entry that next() gave last, as lstat; `noEntry` if it is gone.
  [[nodiscard]] virtual Result<FileStatus> status() = 0;

  // What lies in the folder that next() gave last is left out.
  virtual void skipDescendants() = 0;

  // What was left out since the last call, one by one; nothing when that was all. A folder that merely vanished is not
  // told.
  [[nodiscard]] virtual std::optional<Omission> takeOmission() = 0;

  // The platform's own. Errors as of opening the folder; a final symbolic link is followed here alone.
  [[nodiscard]] static Result<std::unique_ptr<DirectoryEnumerator>> open(const FilePath& root, Depth depth);
};

}  // namespace quillbrook
