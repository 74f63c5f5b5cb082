// SPDX-License-Identifier: MIT
#include "Platform/Linux/FileSystemPlace.h"

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

std::optional<FileSystemPlace> FileSystemPlace::of(const FilePath& path, const std::vector<MountEntry>& table) {
  // The deepest mount above it; of several on one place the last.
  const MountEntry* mount = nullptr;
  for (const MountEntry& entry : table) {
    if (entry.type == VolumeProtocol::mountType || !FolderPath::beneath(entry.mountPoint, path.bytes())) continue;
    if (mount == nullptr || entry.mountPoint.size() >= mount->mountPoint.size()) mount = &entry;
  }
  if (mount == nullptr) return std::nullopt;
  const auto beneath = FolderPath::beneath(mount->mountPoint, path.bytes());
  const FilePath root(mount->root);
  return FileSystemPlace{.device = mount->device, .path = *beneath == "." ? root : root.appending(*beneath)};
}

bool FileSystemPlace::contains(const FileSystemPlace& inner) const {
  return device == inner.device && FolderPath::contains(path, inner.path);
}

}  // namespace quillbrook
