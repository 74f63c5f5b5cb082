// SPDX-License-Identifier: MIT
#include "Volume/Expansion/ExpansionRecovery.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/PrivateFolder.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook::ExpansionRecovery {

namespace {

struct Copy {
  std::uint32_t identifier = 0;
  std::string name;
  RedoRecord record;
  bool isSettled = false;
};

std::vector<std::string> namesIn(int folder) {
  FileDescriptor own(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(fdopendir(own.get()), closedir);
  if (!listing) return {};
  static_cast<void>(own.release());  // the listing's now
  std::vector<std::string> names;
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

std::vector<Copy> copiesIn(int folder) {
  std::vector<Copy> copies;
  for (const std::string& name : namesIn(folder)) {
    Copy copy;
    copy.name = name;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), copy.identifier);
    if (error != std::errc() || end != name.data() + name.size() || copy.identifier == 0) continue;
    const FileDescriptor file(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const auto record = file.isOpen() ? RedoRecord::read(file.get()) : std::unexpected(ErrorNumber::noEntry);
    if (record) {
      copy.record = *record;
      copies.push_back(std::move(copy));
    } else if (record.error() == ErrorNumber::attributeMissing) {
      // The record is the first thing that a copy gets: without one it was never named.
      unlinkat(folder, name.c_str(), 0);
    }
  }
  return copies;
}

bool isTarget(const Copy& copy, const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_dev == copy.record.device && status.st_ino == copy.record.inode;
}

// `folder`/`name` is the copy's target: completes its expansion, or removes a copy that its state does not name.
void settle(int source, int redo, int folder, const std::string& name, Copy& copy) {
  const FileDescriptor file(openat(folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status{};
  if (!file.isOpen() || fstat(file.get(), &status) != 0 || !isTarget(copy, status)) return;
  const auto state = StoredState::read(file.get());
  if (!state) return;
  if (*state && (*state)->redoIdentifier == copy.identifier) {
    copy.isSettled = Expansion::finish(source, file.get(), **state).has_value();
  } else {
    if (*state && (*state)->isSealed() && (*state)->redoIdentifier == 0 &&
        static_cast<std::uint64_t>(status.st_size) == (*state)->rawByteCount()) {
      Expansion::abandon(file.get(), **state, copy.record);
    }
    copy.isSettled = unlinkat(redo, copy.name.c_str(), 0) == 0;
  }
}

// Looks at everything beneath `folder` on the same file system.
void search(int source, int redo, int folder, std::vector<Copy>& copies) {
  for (const std::string& name : namesIn(folder)) {
    struct stat status{};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISDIR(status.st_mode) && name != VolumeProtocol::privateFolder) {
      const FileDescriptor inner(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      if (inner.isOpen()) search(source, redo, inner.get(), copies);
    }
    for (Copy& copy : copies) {
      if (!copy.isSettled && isTarget(copy, status)) settle(source, redo, folder, name, copy);
    }
  }
}

}  // namespace

void run(int source) {
  const auto redo = PrivateFolder::openRedo(source);
  if (!redo) return;
  auto copies = copiesIn(redo->get());
  for (Copy& copy : copies) {
    if (!copy.record.path.empty()) settle(source, redo->get(), source, copy.record.path, copy);
  }
  std::erase_if(copies, [](const Copy& copy) { return copy.isSettled; });
  if (!copies.empty()) search(source, redo->get(), source, copies);
}

}  // namespace quillbrook::ExpansionRecovery
