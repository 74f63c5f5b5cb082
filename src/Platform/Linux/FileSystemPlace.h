// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/FilePath.h"
#include "Platform/Linux/MountTable.h"

namespace quillbrook {

// Where a folder lies within its file system, whatever it is mounted as: bind mounts of one folder have one place.
struct FileSystemPlace {
  std::string device;  // as the mount table writes it
  FilePath path;       // from the file system's own root

  friend bool operator==(const FileSystemPlace&, const FileSystemPlace&) = default;

  // Of an absolute path as FolderPath::resolve gives it, beneath whatever volume covers it. Nothing for what the table
  // does not explain.
  [[nodiscard]] static std::optional<FileSystemPlace> of(const FilePath& path, const std::vector<MountEntry>& table);

  // Whether `inner` is this place or lies in it.
  [[nodiscard]] bool contains(const FileSystemPlace& inner) const;
};

}  // namespace quillbrook
