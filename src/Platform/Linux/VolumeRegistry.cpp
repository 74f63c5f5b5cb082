// SPDX-License-Identifier: MIT
#include "Platform/Linux/VolumeRegistry.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <utility>

#include "Platform/FilePath.h"
#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Linux/VolumeRegistration.h"

namespace quillbrook {
namespace VolumeRegistry {
namespace {

constexpr unsigned uniqueMountIdentifier = 0x4000;  // STATX_MNT_ID_UNIQUE, which older headers lack

struct Registry {
  std::mutex mutex;
  FileDescriptor table;                                                     // the mount table, polled for changes
  std::map<std::uint64_t, std::shared_ptr<const ReachableVolume>> volumes;  // null: not a volume of ours
  std::uint64_t changeCount = 0;
  std::vector<std::string> registeredFolders;
  std::atomic<bool> hasRegisteredFolders = false;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

std::optional<struct statx> mountStatus(int descriptor, unsigned mask) {
  struct statx status{};
  if (::statx(descriptor, "", AT_EMPTY_PATH | AT_STATX_DONT_SYNC, mask | STATX_INO, &status) == -1) return std::nullopt;
  return status;
}

// The number under which the mount stands in the mount table.
std::optional<std::uint64_t> tableIdentifier(int descriptor) {
  const auto status = mountStatus(descriptor, STATX_MNT_ID);
  if (!status || (status->stx_mask & STATX_MNT_ID) == 0) return std::nullopt;
  return status->stx_mnt_id;
}

std::string attribute(int folder, std::string_view name) {
  std::array<char, 256> value;
  const auto got =
      ::getxattr(SystemCall::pathOf(folder).c_str(), std::string(name).c_str(), value.data(), value.size());
  return got == -1 ? std::string() : std::string(value.data(), static_cast<std::size_t>(got));
}

std::shared_ptr<const ReachableVolume> resolve(int folder, std::uint64_t identifier) {
  const auto inTable = tableIdentifier(folder);
  if (!inTable) return nullptr;
  const auto table = MountTable::read();
  if (!table) return nullptr;
  const auto entry = std::ranges::find(*table, *inTable, &MountEntry::identifier);
  if (entry == table->end() || entry->type != VolumeProtocol::mountType || entry->root != "/") return nullptr;
  if (!entry->owner || (*entry->owner != 0 && *entry->owner != ::geteuid())) return nullptr;

  const auto root = SystemCall::openAt(AT_FDCWD, entry->mountPoint.c_str(), O_PATH | O_DIRECTORY);
  if (!root) return nullptr;
  const auto rootPlace = place(root->get());
  if (!rootPlace || rootPlace->mountIdentifier != identifier) return nullptr;  // something is mounted over it
  const auto address = DaemonAddress::parse(attribute(root->get(), VolumeProtocol::sourceAttribute));
  if (!address) return nullptr;
  auto source = SystemCall::openAt(AT_FDCWD, address->source.c_str(), O_PATH | O_DIRECTORY);
  if (!source) return nullptr;
  const auto sourcePlace = place(source->get());
  if (!sourcePlace || sourcePlace->mountIdentifier == identifier || sourcePlace->inode != rootPlace->inode) {
    return nullptr;
  }

  auto volume = std::make_shared<ReachableVolume>();
  volume->mountPoint = entry->mountPoint;
  volume->source = std::move(*source);
  volume->isInPlace = attribute(root->get(), VolumeProtocol::placementAttribute) == "in-place";
  for (const auto& other : *table) {
    if (other.parentIdentifier == entry->identifier) volume->mountsOnTop.push_back(other.mountPoint);
  }
  return volume;
}

// Whether the mount table has changed since this was asked last. The registry's mutex is held.
bool tableHasChanged(Registry& known) {
  if (!known.table.isOpen()) {
    auto table = SystemCall::openAt(AT_FDCWD, MountTable::path, O_RDONLY);
    if (!table) return true;
    known.table = std::move(*table);
    return true;
  }
  struct pollfd change{.fd = known.table.get(), .events = POLLPRI, .revents = 0};
  return ::poll(&change, 1, 0) != 0;
}

}  // namespace

std::optional<MountPlace> place(int descriptor) {
  const auto status = mountStatus(descriptor, uniqueMountIdentifier);
  if (!status || (status->stx_mask & (uniqueMountIdentifier | STATX_MNT_ID)) == 0) return std::nullopt;
  return MountPlace{.mountIdentifier = status->stx_mnt_id, .inode = status->stx_ino};
}

std::shared_ptr<const ReachableVolume> find(int folder, std::uint64_t identifier) {
  auto& known = registry();
  std::uint64_t changeCount = 0;
  {
    const std::lock_guard guard(known.mutex);
    if (tableHasChanged(known)) {
      known.volumes.clear();
      ++known.changeCount;
    }
    if (const auto found = known.volumes.find(identifier); found != known.volumes.end()) return found->second;
    changeCount = known.changeCount;
  }
  // Not under the mutex: it asks the daemon, which may be slow to answer.
  auto volume = resolve(folder, identifier);
  const std::lock_guard guard(known.mutex);
  if (known.changeCount == changeCount) known.volumes.insert_or_assign(identifier, volume);
  return volume;
}

void registerFolder(const std::string& canonicalPath) {
  auto& known = registry();
  const std::lock_guard guard(known.mutex);
  known.registeredFolders.push_back(canonicalPath);
  known.hasRegisteredFolders = true;
}

void unregisterFolder(const std::string& canonicalPath) {
  auto& known = registry();
  const std::lock_guard guard(known.mutex);
  const auto found = std::ranges::find(known.registeredFolders, canonicalPath);
  if (found != known.registeredFolders.end()) known.registeredFolders.erase(found);
  known.hasRegisteredFolders = !known.registeredFolders.empty();
}

bool hasRegisteredFolders() {
  return registry().hasRegisteredFolders;
}

bool isInRegisteredFolder(std::string_view canonicalPath) {
  auto& known = registry();
  const std::lock_guard guard(known.mutex);
  return std::ranges::any_of(known.registeredFolders, [canonicalPath](const std::string& folder) {
    return FolderPath::beneath(folder, canonicalPath).has_value();
  });
}

}  // namespace VolumeRegistry

VolumeRegistration::VolumeRegistration(const FilePath& folder) {
  const auto opened = SystemCall::openAt(AT_FDCWD, folder.c_str(), O_PATH | O_DIRECTORY);
  if (!opened) return;
  const auto path = FolderPath::of(opened->get());
  if (!path) return;
  canonicalPath_ = path->bytes();
  VolumeRegistry::registerFolder(canonicalPath_);
}

VolumeRegistration::~VolumeRegistration() {
  VolumeRegistry::unregisterFolder(canonicalPath_);
}

}  // namespace quillbrook
