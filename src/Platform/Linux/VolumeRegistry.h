// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/FilePath.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderCache.h"

namespace quillbrook {

// A mounted volume of ours.
struct ReachableVolume {
  std::string mountPoint;
  FileDescriptor source;  // opened with O_PATH; not open: this process may not reach beneath this mount
  bool isInPlace = false;
  bool isReadOnly = false;
  std::vector<std::string> mountsOnTop;  // mount points of whatever is mounted inside it
  // Backing folders by inode number, which the mount shows too; null where the numbers do not tell folders apart, or
  // something is mounted inside.
  std::unique_ptr<FolderCache> folders;
};

// Which mounts are volumes of ours that the caller may trust: made by the caller or root, their source checked. What
// was found is kept until the mount table changes. Any thread.
namespace VolumeRegistry {

// The mount on which something lies, and its inode there.
struct MountPlace {
  std::uint64_t mountIdentifier = 0;  // never used twice where the kernel has such numbers (Linux 6.8)
  std::uint64_t inode = 0;
  friend bool operator==(const MountPlace&, const MountPlace&) = default;
};
// Nothing where the kernel does not tell, or nothing stands there. Asks no daemon about a descriptor.
[[nodiscard]] std::optional<MountPlace> place(int descriptor);
[[nodiscard]] std::optional<MountPlace> place(const FilePath& path);

// The volume on whose very mount `folder` lies, or null. `identifier` is that mount's, from place().
[[nodiscard]] std::shared_ptr<const ReachableVolume> find(int folder, std::uint64_t identifier);
// The same, if it has been found before and no mount has changed since; asks nobody.
[[nodiscard]] std::shared_ptr<const ReachableVolume> findKnown(std::uint64_t identifier);

}  // namespace VolumeRegistry

}  // namespace quillbrook
