// SPDX-License-Identifier: MIT
#include "Volume/Expansion/FolderWalk.h"

#include <cerrno>

#include "Platform/Linux/TreeEnumerator.h"

namespace quillbrook {

bool FolderWalk::walk(int root, const FilePath& path, const Visitor& visitor, std::stop_token stop) {
  const auto walk = TreeEnumerator::openBeneath(root, path);
  if (!walk) {
    visitor.onUnreadable(path, walk.error());
    return !stop.stop_requested();
  }
  TreeEnumerator& entries = **walk;
  const auto tellOmissions = [&] {
    while (const auto omission = entries.takeOmission()) {
      if (omission->error) visitor.onUnreadable(omission->folder, *omission->error);
    }
  };
  while (!stop.stop_requested()) {
    const auto entry = entries.next();
    tellOmissions();
    if (!entry) return true;
    if (entry->kind != FileKind::regular) continue;
    const auto status = entries.hostStatus();
    if (status && S_ISREG(status->st_mode)) {
      visitor.onFile({.folder = entries.folder(), .name = entries.name(), .path = entry->path, .status = *status});
    } else if (!status && status.error() != ErrorNumber::noEntry) {
      visitor.onUnreadable(entry->path, status.error());
    }
  }
  return false;
}

}  // namespace quillbrook
