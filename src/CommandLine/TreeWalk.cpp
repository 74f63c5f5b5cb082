// SPDX-License-Identifier: MIT
#include "CommandLine/TreeWalk.h"

#include <utility>

#include "Platform/ReservedNames.h"

namespace quillbrook::TreeWalk {
namespace {

void tellOmissions(DirectoryEnumerator& entries, TreeVisitor& visitor) {
  while (const auto omission = entries.takeOmission()) {
    if (omission->error) {
      visitor.unreadable(omission->folder, *omission->error);
    } else {
      visitor.otherFileSystem(omission->folder);
    }
  }
}

}  // namespace

bool walk(const FilePath& root, FileSystem& fileSystem, const OpenEnumerator& openEnumerator, TreeVisitor& visitor) {
  const auto status = fileSystem.lstat(root);
  if (!status || status->kind != FileKind::directory) {
    return visitor.visit({.path = root, .isNamed = true, .status = std::nullopt});
  }

  const auto entries = openEnumerator(root, DirectoryEnumerator::Depth::recursive);
  if (!entries) {
    visitor.unreadable(root, entries.error());
    return true;
  }
  for (;;) {
    auto entry = (*entries)->next();
    tellOmissions(**entries, visitor);
    if (!entry) return true;
    if (entry->kind != FileKind::regular || ReservedNames::isWorkFileName(entry->path.name())) continue;
    const auto seen = (*entries)->status();
    if (!seen && seen.error() == ErrorNumber::noEntry) continue;  // one that has vanished is nobody's concern
    if (seen && seen->kind != FileKind::regular) continue;
    TreeFile file{.path = std::move(entry->path), .isNamed = false, .status = std::nullopt};
    if (seen) file.status = *seen;
    if (!visitor.visit(std::move(file))) return false;
  }
}

}  // namespace quillbrook::TreeWalk
