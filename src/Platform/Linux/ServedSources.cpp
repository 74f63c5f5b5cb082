// SPDX-License-Identifier: MIT
#include "Platform/Linux/ServedSources.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FileSystemPlace.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Mutex.h"

namespace quillbrook::ServedSources {
namespace {

struct Known {
  Mutex mutex;
  FileDescriptor changes QB_GUARDED_BY(mutex);  // the mount table, polled
  std::vector<MountEntry> table QB_GUARDED_BY(mutex);
  std::vector<FileSystemPlace> sources QB_GUARDED_BY(mutex);
};

bool hasChanged(Known& known) QB_REQUIRES(known.mutex) {
  if (known.changes.isOpen()) {
    struct pollfd change{.fd = known.changes.get(), .events = POLLPRI, .revents = 0};
    return ::poll(&change, 1, 0) != 0;
  }
  auto changes = SystemCall::openAt(AT_FDCWD, MountTable::path, O_RDONLY);
  if (changes) known.changes = std::move(*changes);
  return true;
}

void readAgain(Known& known) QB_REQUIRES(known.mutex) {
  known.table = MountTable::read().value_or(std::vector<MountEntry>());
  known.sources.clear();
  for (const MountEntry& entry : known.table) {
    if (entry.type != VolumeProtocol::mountType) continue;
    if (auto place = FileSystemPlace::of(FilePath(entry.source), known.table)) {
      known.sources.push_back(std::move(*place));
    }
  }
}

}  // namespace

bool contain(int folder) {
  static Known known;
  const MutexLock guard(known.mutex);
  if (hasChanged(known)) readAgain(known);
  if (known.sources.empty()) return false;
  const auto path = FolderPath::of(folder);
  const auto place = path ? FileSystemPlace::of(*path, known.table) : std::nullopt;
  return place && std::ranges::any_of(known.sources, [&](const auto& source) { return source.contains(*place); });
}

}  // namespace quillbrook::ServedSources
