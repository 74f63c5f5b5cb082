// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <linux/fs.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/PairLock.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

Result<void> removeName(Volume& volume, fuse_ino_t parent, const char* name, int flags) {
  Node& folder = volume.node(parent);
  if (Names::isHidden(volume, folder, name)) return std::unexpected(ErrorNumber::noEntry);
  const auto descriptor = Inodes::descriptor(volume, folder);
  if (!descriptor) return std::unexpected(descriptor.error());
  const ExclusiveLock lock(folder.lock);
  auto doomed = Names::doomed(volume, (*descriptor)->get(), name);
  if (unlinkat((*descriptor)->get(), name, flags) != 0) return SystemCall::failure();
  if (doomed.node) volume.nodes.unlinked(*doomed.node, folder, name, std::move(doomed.pin));
  return {};
}

std::shared_ptr<Node> nodeAt(Volume& volume, int descriptor, const char* name) {
  struct stat status{};
  if (fstatat(descriptor, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return nullptr;
  return volume.nodes.find({.device = status.st_dev, .inode = status.st_ino});
}

}  // namespace

void unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Reply::answer(request, [&](Volume& volume) { return removeName(volume, parent, name, 0); });
}

void rmdir(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Reply::answer(request, [&](Volume& volume) { return removeName(volume, parent, name, AT_REMOVEDIR); });
}

void rename(fuse_req_t request, fuse_ino_t parent, const char* name, fuse_ino_t newParent, const char* newName,
            unsigned flags) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    Node& from = volume.node(parent);
    Node& to = volume.node(newParent);
    if (Names::isHidden(volume, from, name)) return std::unexpected(ErrorNumber::noEntry);
    if (Names::isHidden(volume, to, newName)) return std::unexpected(ErrorNumber::notPermitted);
    const auto fromFolder = Inodes::descriptor(volume, from);
    if (!fromFolder) return std::unexpected(fromFolder.error());
    const auto toFolder = Inodes::descriptor(volume, to);
    if (!toFolder) return std::unexpected(toFolder.error());
    const int fromDescriptor = (*fromFolder)->get();
    const int toDescriptor = (*toFolder)->get();

    const PairLock<ExclusiveLock> locks(from, to);
    const auto moved = nodeAt(volume, fromDescriptor, name);
    auto replaced = Names::doomed(volume, toDescriptor, newName);
    if (renameat2(fromDescriptor, name, toDescriptor, newName, flags) != 0) return SystemCall::failure();
    if (moved == replaced.node && moved) return {};  // two names of one file: both stay
    if (replaced.node) {
      if ((flags & RENAME_EXCHANGE) != 0) {
        volume.nodes.renamed(*replaced.node, to, newName, from, name);
      } else {
        volume.nodes.unlinked(*replaced.node, to, newName, std::move(replaced.pin));
      }
    }
    if (moved) volume.nodes.renamed(*moved, from, name, to, newName);
    return {};
  });
}

}  // namespace quillbrook::Operations
