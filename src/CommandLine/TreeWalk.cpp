// SPDX-License-Identifier: MIT
#include "CommandLine/TreeWalk.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/ReservedNames.h"

namespace quillbrook::TreeWalk {
namespace {

// Visits the files of one folder and adds its subfolders to `folders`. False if the visitor stopped it.
bool walkFolder(const FilePath& folder, DirectoryReader& reader, TreeVisitor& visitor, std::vector<FilePath>& folders) {
  for (;;) {
    const auto entry = reader.next();
    if (!entry) {
      visitor.unreadable(folder, entry.error());
      return true;
    }
    if (!*entry) return true;
    FilePath path = folder.appending((*entry)->name);
    if ((*entry)->kind == FileKind::directory) {
      folders.push_back(std::move(path));
    } else if ((*entry)->kind == FileKind::regular && !ReservedNames::isWorkFileName(path.name())) {
      if (!visitor.visit({.path = std::move(path), .isNamed = false})) return false;
    }
  }
}

}  // namespace

bool walk(const FilePath& root, FileSystem& fileSystem, const OpenDirectory& openDirectory, TreeVisitor& visitor) {
  const auto status = fileSystem.lstat(root);
  if (!status || status->kind != FileKind::directory) return visitor.visit({.path = root, .isNamed = true});

  std::optional<std::uint64_t> device;  // the root's
  std::vector<FilePath> folders{root};
  while (!folders.empty()) {
    const FilePath folder = std::move(folders.back());
    folders.pop_back();
    const auto reader = openDirectory(folder);
    if (!reader) {
      // One that vanished since its name was read is nobody's concern.
      if (!device || reader.error() != ErrorNumber::noEntry) visitor.unreadable(folder, reader.error());
      continue;
    }
    if (!device) device = (*reader)->device();
    if ((*reader)->device() != *device) {
      visitor.otherFileSystem(folder);
    } else if (!walkFolder(folder, **reader, visitor, folders)) {
      return false;
    }
  }
  return true;
}

}  // namespace quillbrook::TreeWalk
