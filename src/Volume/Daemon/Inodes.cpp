// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Volume.h"

namespace quillbrook::Inodes {

namespace {

const ErrorNumber stale{ESTALE};

bool isSameInode(int file, const InodeKey& key, mode_t kind) {
  struct stat status{};
  return fstat(file, &status) == 0 && status.st_dev == key.device && status.st_ino == key.inode &&
         (status.st_mode & S_IFMT) == kind;
}

// By the first of its names that leads to it.
Result<FileDescriptor> openByName(Volume& volume, const Node& node, int flags) {
  // A name may change between looking it up and using it; the table tells the new one at the next attempt.
  constexpr int attempts = 16;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const auto place = volume.nodes.whereabouts(node);
    if (!place.isCurrent || place.links.empty()) return std::unexpected(stale);
    for (const auto& link : place.links) {
      const auto folder = descriptor(volume, *link.parent);
      if (!folder) continue;
      const SharedLock lock(link.parent->lock);
      FileDescriptor file(openat((*folder)->get(), link.name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC));
      if (!file.isOpen()) {
        if (errno == ENOENT || errno == ENOTDIR || errno == ELOOP) continue;
        return SystemCall::failure();
      }
      if (isSameInode(file.get(), place.key, node.kind)) return file;
    }
  }
  return std::unexpected(stale);
}

}  // namespace

Result<SharedDescriptor> descriptor(Volume& volume, Node& node) {
  if (auto known = volume.descriptors.find(node)) return known;
  if (auto pinned = volume.nodes.whereabouts(node).pinned) return pinned;
  auto file = openByName(volume, node, O_PATH);
  if (!file) return std::unexpected(file.error());
  auto shared = std::make_shared<InodeDescriptor>(std::move(*file));
  volume.descriptors.insert(node, shared);
  return shared;
}

Result<FileDescriptor> open(Volume& volume, Node& node, int flags) {
  auto known = volume.descriptors.find(node);
  if (!known) {
    const auto place = volume.nodes.whereabouts(node);
    if (!place.pinned) return openByName(volume, node, flags);
    // The inode has another node by now, which alone tells who writes to it.
    if (!place.isCurrent && (flags & O_ACCMODE) != O_RDONLY) return std::unexpected(stale);
    known = place.pinned;
  }
  FileDescriptor file(::open(SystemCall::pathOf(known->get()).c_str(), flags | O_CLOEXEC));
  if (!file.isOpen()) return SystemCall::failure();
  return file;
}

FileForm formOf(int file) {
  const auto state = StoredState::read(file);
  return state ? FileForm{.state = *state, .isDamaged = false} : FileForm{.state = {}, .isDamaged = true};
}

FileForm formAt(int folder, const char* name, const struct stat& status) {
  // Nothing shorter than a trailer can be a container, but one under construction reads as empty as it is.
  if (!S_ISREG(status.st_mode) || status.st_size < static_cast<off_t>(ContainerState::byteCount)) return {};
  const auto state = StoredState::readAt(folder, name);
  return state ? FileForm{.state = *state, .isDamaged = false} : FileForm{.state = {}, .isDamaged = true};
}

struct stat shown(const Node& node, const struct stat& status, const FileForm& form) {
  struct stat result = status;
  result.st_ino = node.shownInode;
  result.st_size = form.byteCount(status.st_size);
  return result;
}

Result<struct stat> attributes(Volume& volume, Node& node) {
  const auto file = descriptor(volume, node);
  if (!file) return std::unexpected(file.error());
  struct stat status{};
  if (fstat((*file)->get(), &status) != 0) return SystemCall::failure();
  // The volume's own folder is not to be seen, so it does not count; some hosts count none.
  if (&node == &volume.nodes.root() && status.st_nlink > 2) --status.st_nlink;
  const bool mayBeContainer = S_ISREG(status.st_mode);
  return shown(node, status, mayBeContainer ? formOf((*file)->get()) : FileForm{});
}

}  // namespace quillbrook::Inodes
