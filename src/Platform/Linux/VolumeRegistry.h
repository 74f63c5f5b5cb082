// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"

namespace quillbrook {

// A mounted volume that this process may reach beneath.
struct ReachableVolume {
  std::string mountPoint;
  FileDescriptor source;  // opened with O_PATH
  bool isInPlace = false;
  std::vector<std::string> mountsOnTop;  // mount points of whatever is mounted inside it
};

// Which mounts are volumes of ours that the caller may trust: made by the caller or root, their source checked. What
// was found is kept until the mount table changes. Any thread.
namespace VolumeRegistry {

// The mount on which something lies, and its inode there.
struct MountPlace {
  std::uint64_t mountIdentifier = 0;  // never used twice where the kernel has such numbers (Linux 6.8)
  std::uint64_t inode = 0;
};
// Nothing where the kernel does not tell. Asks no daemon.
[[nodiscard]] std::optional<MountPlace> place(int descriptor);

// The volume on whose very mount `folder` lies, or null. `identifier` is that mount's, from place().
[[nodiscard]] std::shared_ptr<const ReachableVolume> find(int folder, std::uint64_t identifier);

// Folders that count as volumes within this process, as canonical paths.
void registerFolder(const std::string& canonicalPath);
void unregisterFolder(const std::string& canonicalPath);
[[nodiscard]] bool hasRegisteredFolders();
[[nodiscard]] bool isInRegisteredFolder(std::string_view canonicalPath);

}  // namespace VolumeRegistry

}  // namespace quillbrook
