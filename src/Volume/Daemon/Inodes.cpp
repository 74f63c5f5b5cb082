// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Inodes.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/FileForm.h"

namespace quillbrook::Inodes {

namespace {

bool isSameInode(int file, const InodeKey& key, mode_t kind) {
  struct stat status{};
  return fstat(file, &status) == 0 && status.st_dev == key.device && status.st_ino == key.inode &&
         (status.st_mode & S_IFMT) == kind;
}

// What a name in an open folder leads to, if that is the inode looked for; `stale` if not.
Result<FileDescriptor> openEntry(int folder, const Node::Link& link, const InodeKey& key, mode_t kind, int flags) {
  const SharedLock lock(link.parent->lock);
  auto file = SystemCall::openAt(folder, link.name.c_str(), flags | O_NOFOLLOW);
  if (!file) {
    const int reason = file.error().value;
    if (reason == ENOENT || reason == ENOTDIR || reason == ELOOP) return std::unexpected(ErrorNumber::stale);
    return file;
  }
  if (!isSameInode(file->get(), key, kind)) return std::unexpected(ErrorNumber::stale);
  return file;
}

// From the first folder above that is open, down one level after the other: trees are deeper than stacks.
Result<SharedDescriptor> folderDescriptor(Volume& volume, Node& folder) {
  struct Level {
    Node& node;
    NodeTable::Whereabouts place;  // keeps the node above alive
  };
  for (;;) {
    std::vector<Level> levels;
    SharedDescriptor reached;
    for (Node* node = &folder; !reached; node = levels.back().place.links.front().parent.get()) {
      reached = volume.descriptors.find(*node);
      if (reached) break;
      auto place = volume.nodes.whereabouts(*node);
      reached = place.pinned;
      if (reached) break;
      if (!place.isCurrent || place.links.empty()) return std::unexpected(ErrorNumber::stale);
      levels.push_back({.node = *node, .place = std::move(place)});
    }
    Result<FileDescriptor> opened = FileDescriptor();
    for (; !levels.empty(); levels.pop_back()) {
      const auto& [node, place] = levels.back();
      opened = openEntry(reached->get(), place.links.front(), place.key, node.kind, O_PATH);
      if (!opened) break;
      reached = std::make_shared<InodeDescriptor>(std::move(*opened));
      volume.descriptors.insert(node, reached);
    }
    if (levels.empty()) return reached;
    // A name may go between looking it up and using it.
    if (volume.nodes.whereabouts(levels.back().node) == levels.back().place) return std::unexpected(opened.error());
  }
}

// By the first of its names that leads to it. If none does, why not: what kept a folder above from being reached,
// rather than that there is nothing left.
Result<FileDescriptor> openByName(Volume& volume, const NodeTable::Whereabouts& place, mode_t kind, int flags) {
  ErrorNumber reason = ErrorNumber::stale;
  if (!place.isCurrent) return std::unexpected(reason);
  for (const auto& link : place.links) {
    const auto folder = folderDescriptor(volume, *link.parent);
    if (!folder) {
      if (reason == ErrorNumber::stale) reason = folder.error();
      continue;
    }
    auto file = openEntry((*folder)->get(), link, place.key, kind, flags);
    if (file || file.error() != ErrorNumber::stale) return file;
  }
  return std::unexpected(reason);
}

// Calls `attempt` with where the node can be found; if it fails and that is elsewhere by now, once more: a name may go
// between looking it up and using it.
template <typename Attempt>
auto whereItIs(Volume& volume, const Node& node, Attempt attempt) -> decltype(attempt(NodeTable::Whereabouts())) {
  for (auto place = volume.nodes.whereabouts(node);;) {
    auto result = attempt(place);
    if (result) return result;
    auto current = volume.nodes.whereabouts(node);
    if (current == place) return result;
    place = std::move(current);
  }
}

}  // namespace

Result<SharedDescriptor> descriptor(Volume& volume, Node& node) {
  if (S_ISDIR(node.kind)) return folderDescriptor(volume, node);
  if (auto known = volume.descriptors.find(node)) return known;
  return whereItIs(volume, node, [&](const NodeTable::Whereabouts& place) -> Result<SharedDescriptor> {
    if (place.pinned) return place.pinned;
    auto file = openByName(volume, place, node.kind, O_PATH);
    if (!file) return std::unexpected(file.error());
    auto shared = std::make_shared<InodeDescriptor>(std::move(*file));
    volume.descriptors.insert(node, shared);
    return shared;
  });
}

Result<FileDescriptor> open(Volume& volume, Node& node, int flags) {
  const auto reopen = [flags](const InodeDescriptor& known) -> Result<FileDescriptor> {
    return SystemCall::openAt(AT_FDCWD, SystemCall::pathOf(known.get()).c_str(), flags);
  };
  if (const auto known = volume.descriptors.find(node)) {
    const auto status = SystemCall::status(known->get());
    if (status && status->st_nlink != 0) return reopen(*known);
    // Replaced underneath, if not unlinked: it is no more what the names lead to.
    [[maybe_unused]] const auto ended = volume.descriptors.take(node);
  }
  return whereItIs(volume, node, [&](const NodeTable::Whereabouts& place) -> Result<FileDescriptor> {
    if (!place.pinned) return openByName(volume, place, node.kind, flags);
    // The inode has another node by now, which alone tells who writes to it.
    if (!place.isCurrent && (flags & O_ACCMODE) != O_RDONLY) return std::unexpected(ErrorNumber::stale);
    return reopen(*place.pinned);
  });
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
  return shown(node, status, mayBeContainer ? FileForm::of((*file)->get()) : FileForm{});
}

}  // namespace quillbrook::Inodes
