// SPDX-License-Identifier: MIT
#include "Platform/Linux/ServedSources.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "Platform/Linux/FileSystemPlace.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/MountTableWatch.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Platform/Mutex.h"

namespace quillbrook::ServedSources {
namespace {

struct Known {
  Mutex mutex;
  MountTableWatch watch QB_GUARDED_BY(mutex);
  std::vector<MountEntry> table QB_GUARDED_BY(mutex);
  std::vector<FileSystemPlace> sources QB_GUARDED_BY(mutex);
  bool isUnknown QB_GUARDED_BY(mutex) = false;  // the table is there and could not be read
};

void readAgain(Known& known) QB_REQUIRES(known.mutex) {
  auto table = MountTable::read();
  known.isUnknown = !table && table.error() != ErrorNumber::noEntry;
  known.table = std::move(table).value_or(std::vector<MountEntry>());
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
  if (known.watch.hasChanged() || known.isUnknown) readAgain(known);
  if (known.isUnknown) return true;
  if (known.sources.empty()) return false;
  const auto path = FolderPath::of(folder);
  const auto place = path ? FileSystemPlace::of(*path, known.table) : std::nullopt;
  return place && std::ranges::any_of(known.sources, [&](const auto& source) { return source.contains(*place); });
}

}  // namespace quillbrook::ServedSources
