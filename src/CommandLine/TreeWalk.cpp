// SPDX-License-Identifier: MIT
#include "CommandLine/TreeWalk.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace quillbrook::TreeWalk {
namespace {

constexpr std::string_view workFileExtension = "slimtmp";

// Visits the files of one folder and adds its subfolders to `folders`. False if the visitor stopped it.
bool walkFolder(const FilePath& folder, const OpenDirectory& openDirectory, TreeVisitor& visitor,
                std::vector<FilePath>& folders) {
  const auto reader = openDirectory(folder);
  if (!reader) {
    visitor.unreadable(folder, reader.error());
    return true;
  }
  for (;;) {
    const auto entry = (*reader)->next();
    if (!entry) {
      visitor.unreadable(folder, entry.error());
      return true;
    }
    if (!*entry) return true;
    FilePath path = folder.appending((*entry)->name);
    if ((*entry)->kind == FileKind::directory) {
      folders.push_back(std::move(path));
    } else if ((*entry)->kind == FileKind::regular && path.extension() != workFileExtension) {
      if (!visitor.visit({.path = std::move(path), .isNamed = false})) return false;
    }
  }
}

}  // namespace

bool walk(const FilePath& root, FileSystem& fileSystem, const OpenDirectory& openDirectory, TreeVisitor& visitor) {
  const auto rootStatus = fileSystem.lstat(root);
  if (!rootStatus || rootStatus->kind != FileKind::directory) return visitor.visit({.path = root, .isNamed = true});

  std::vector<FilePath> folders;
  if (!walkFolder(root, openDirectory, visitor, folders)) return false;
  while (!folders.empty()) {
    const FilePath folder = std::move(folders.back());
    folders.pop_back();
    const auto status = fileSystem.lstat(folder);
    if (!status) {
      visitor.unreadable(folder, status.error());
    } else if (status->kind != FileKind::directory) {
      continue;  // replaced since its name was read
    } else if (status->st_dev != rootStatus->st_dev) {
      visitor.otherFileSystem(folder);
    } else if (!walkFolder(folder, openDirectory, visitor, folders)) {
      return false;
    }
  }
  return true;
}

}  // namespace quillbrook::TreeWalk
