// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumeRegistry.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "Platform/FilePath.h"
#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountPlace.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/MountTableWatch.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Mutex.h"

namespace quillbrook::VolumeRegistry {
namespace {

struct Registry {
  Mutex mutex;
  MountTableWatch watch QB_GUARDED_BY(mutex);
  // Null: not a volume of ours.
  std::map<std::uint64_t, std::shared_ptr<const ReachableVolume>> volumes QB_GUARDED_BY(mutex);
  std::uint64_t changeCount QB_GUARDED_BY(mutex) = 0;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

// On btrfs, for one, every subvolume numbers its inodes anew.
bool numbersInodesUniquely(int folder) {
  struct statfs status{};
  if (::fstatfs(folder, &status) == -1) return false;
  return status.f_type == EXT4_SUPER_MAGIC || status.f_type == XFS_SUPER_MAGIC;
}

// The number under which the mount stands in the mount table.
std::optional<std::uint64_t> tableIdentifier(int descriptor) {
  struct statx status{};
  if (::statx(descriptor, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, STATX_MNT_ID, &status) == -1) return std::nullopt;
  if ((status.stx_mask & STATX_MNT_ID) == 0) return std::nullopt;
  return status.stx_mnt_id;
}

std::string attribute(int folder, std::string_view name) {
  std::array<char, 256> value;
  const auto got =
      ::getxattr(SystemCall::pathOf(folder).c_str(), std::string(name).c_str(), value.data(), value.size());
  return got == -1 ? std::string() : std::string(value.data(), static_cast<std::size_t>(got));
}

// The root of the mount `entry`, if this process may trust it. Not open if not.
FileDescriptor openRoot(const MountEntry& entry, std::uint64_t identifier) {
  if (entry.root != "/" || !entry.owner || (*entry.owner != 0 && *entry.owner != ::geteuid())) return {};
  auto root = SystemCall::openAt(AT_FDCWD, entry.mountPoint.c_str(), O_PATH | O_DIRECTORY);
  if (!root) return {};
  const auto found = MountPlace::of(root->get());
  if (!found || found->mountIdentifier != identifier) return {};  // something is mounted over it
  return std::move(*root);
}

// The folder that the daemon says it serves, if it can be reached and is the one that the mount shows.
FileDescriptor openSource(int root, std::uint64_t identifier) {
  const auto address = DaemonAddress::parse(attribute(root, VolumeProtocol::sourceAttribute));
  if (!address) return {};
  const auto rootPlace = MountPlace::of(root);
  auto source = SystemCall::openAt(AT_FDCWD, address->source.c_str(), O_PATH | O_DIRECTORY);
  if (!source) return {};
  const auto sourcePlace = MountPlace::of(source->get());
  if (!rootPlace || !sourcePlace || sourcePlace->mountIdentifier == identifier ||
      sourcePlace->inode != rootPlace->inode) {
    return {};
  }
  return std::move(*source);
}

// What is known of a mount, and whether that holds until the mount table changes.
struct Resolved {
  std::shared_ptr<const ReachableVolume> volume;  // null: not a volume of ours
  bool isLasting = false;
};

Resolved resolve(int folder, std::uint64_t identifier) {
  const auto inTable = tableIdentifier(folder);
  if (!inTable) return {};
  const auto table = MountTable::read();
  if (!table) return {};
  const auto entry = std::ranges::find(*table, *inTable, &MountEntry::identifier);
  if (entry == table->end()) return {};
  if (entry->type != VolumeProtocol::mountType) return {.volume = nullptr, .isLasting = true};

  auto volume = std::make_shared<ReachableVolume>();
  volume->mountPoint = entry->mountPoint;
  volume->isReadOnly = entry->isReadOnly;
  const auto root = openRoot(*entry, identifier);
  if (root.isOpen()) volume->source = openSource(root.get(), identifier);
  if (!volume->source.isOpen()) return {.volume = std::move(volume), .isLasting = false};
  volume->isInPlace = attribute(root.get(), VolumeProtocol::placementAttribute) == VolumeProtocol::placedInPlace;
  for (const auto& other : *table) {
    if (other.parentIdentifier == entry->identifier) volume->mountsOnTop.push_back(other.mountPoint);
  }
  if (volume->mountsOnTop.empty() && numbersInodesUniquely(volume->source.get())) {
    volume->folders = std::make_unique<FolderCache>();
  }
  return {.volume = std::move(volume), .isLasting = true};
}

void forgetIfChanged(Registry& known) QB_REQUIRES(known.mutex) {
  if (!known.watch.hasChanged()) return;
  known.volumes.clear();
  ++known.changeCount;
}

}  // namespace

std::shared_ptr<const ReachableVolume> findKnown(std::uint64_t identifier) {
  auto& known = registry();
  const MutexLock guard(known.mutex);
  forgetIfChanged(known);
  const auto found = known.volumes.find(identifier);
  return found == known.volumes.end() ? nullptr : found->second;
}

std::shared_ptr<const ReachableVolume> find(int folder, std::uint64_t identifier) {
  auto& known = registry();
  std::uint64_t changeCount = 0;
  {
    const MutexLock guard(known.mutex);
    forgetIfChanged(known);
    if (const auto found = known.volumes.find(identifier); found != known.volumes.end()) return found->second;
    changeCount = known.changeCount;
  }
  // Not under the mutex: it asks the daemon, which may be slow to answer.
  const auto resolved = resolve(folder, identifier);
  if (!resolved.isLasting) return resolved.volume;
  const MutexLock guard(known.mutex);
  if (known.changeCount == changeCount) known.volumes.insert_or_assign(identifier, resolved.volume);
  return resolved.volume;
}

}  // namespace quillbrook::VolumeRegistry
