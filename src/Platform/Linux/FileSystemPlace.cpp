// SPDX-License-Identifier: MIT
#include "Platform/Linux/FileSystemPlace.h"

#include <algorithm>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

// The first mount on `parent` that the path comes to, or null; without a parent, on none of the table.
const MountEntry* crossed(const FilePath& path, const MountEntry* parent, const std::vector<MountEntry>& table) {
  const auto isOnParent = [&](const MountEntry& entry) {
    if (parent != nullptr) return &entry != parent && entry.parentIdentifier == parent->identifier;
    return entry.parentIdentifier == entry.identifier ||
           std::ranges::find(table, entry.parentIdentifier, &MountEntry::identifier) == table.end();
  };
  const MountEntry* first = nullptr;
  for (const MountEntry& entry : table) {
    if (!isOnParent(entry) || !FolderPath::beneath(entry.mountPoint, path.bytes())) continue;
    if (first == nullptr || entry.mountPoint.size() <= first->mountPoint.size()) first = &entry;
  }
  return first;
}

}  // namespace

std::optional<FileSystemPlace> FileSystemPlace::of(const FilePath& path, const std::vector<MountEntry>& table) {
  // From mount to mount down the path: one that a later mount hides is none of them. A volume shows what lies beneath.
  const MountEntry* mount = nullptr;
  for (const MountEntry* next = crossed(path, nullptr, table); next != nullptr; next = crossed(path, next, table)) {
    if (next->type != VolumeProtocol::mountType) mount = next;
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
