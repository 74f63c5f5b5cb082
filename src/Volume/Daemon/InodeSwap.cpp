// SPDX-License-Identifier: MIT
#include "Volume/Daemon/InodeSwap.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/WorkInProgress.h"
#include "Volume/Daemon/FileForm.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Names.h"
#include "Volume/Daemon/PairLock.h"
#include "Volume/Daemon/Writers.h"

namespace quillbrook::InodeSwap {

namespace {

bool isLeaf(const std::array<char, 256>& name) {
  if (std::ranges::find(name, '\0') == name.end()) return false;
  const std::string_view text(name.data());
  return !text.empty() && text != "." && text != ".." && text.find('/') == std::string_view::npos;
}

// Not a mode, attribute or link that somebody has changed since, which the work file does not have.
bool hasChanged(const VolumeProtocol::ReplaceRequest& request, const struct stat& status) {
  return status.st_ctim.tv_sec != request.changeSeconds ||
         status.st_ctim.tv_nsec != static_cast<std::int64_t>(request.changeNanoseconds);
}

bool isExpected(const VolumeProtocol::ReplaceRequest& request, const struct stat& status, const FileForm& form) {
  return S_ISREG(status.st_mode) && status.st_dev == request.device && status.st_ino == request.inode &&
         form.byteCount(status.st_size) == request.logicalSize &&
         status.st_mtim.tv_sec == request.modificationSeconds &&
         status.st_mtim.tv_nsec == static_cast<std::int64_t>(request.modificationNanoseconds);
}

// A node that the kernel is not told of, held for as long as it is needed.
class HeldNode {
 public:
  HeldNode(Volume& volume, Node& node) : volume_(volume), node_(node) {}
  ~HeldNode() { volume_.nodes.forget(node_, 1); }
  HeldNode(const HeldNode&) = delete;
  HeldNode& operator=(const HeldNode&) = delete;
  [[nodiscard]] Node& get() const { return node_; }

 private:
  Volume& volume_;
  Node& node_;
};

// Whether anything may still write to a file that no handle is open on: a map made by way of the kernel's passthrough
// outlives its handle.
bool mayBeMappedForWriting(const Volume& volume, int folder, const char* name) {
  if (!volume.kernel.hasPassthrough()) return false;
  const FileDescriptor file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return !file.isOpen() || !isFreeOfWriters(file.get());
}

bool isNodeOf(Volume& volume, const Node& node, const struct stat& status) {
  return volume.nodes.find({.device = status.st_dev, .inode = status.st_ino}).get() == &node;
}

// With the locks held.
Result<void> replace(Volume& volume, int descriptor, Node& target, Node& workNode,
                     const VolumeProtocol::ReplaceRequest& request) QB_NO_THREAD_SAFETY_ANALYSIS {
  struct stat status{};
  if (fstatat(descriptor, request.target.data(), &status, AT_SYMLINK_NOFOLLOW) != 0) return SystemCall::failure();
  if (!isNodeOf(volume, target, status) || status.st_nlink != 1 ||
      !isExpected(request, status, FileForm::at(descriptor, request.target.data(), status))) {
    return std::unexpected(ErrorNumber::busy);
  }
  if (hasChanged(request, status)) return std::unexpected(ErrorNumber::stale);
  OpenFile* const open = target.open.get();
  if (open != nullptr && (open->writerCount != 0 || open->passthroughCount != 0)) {
    return std::unexpected(ErrorNumber::busy);
  }
  if (mayBeMappedForWriting(volume, descriptor, request.target.data()) ||
      mayBeMappedForWriting(volume, descriptor, request.work.data())) {
    return std::unexpected(ErrorNumber::busy);
  }

  // Everything that can fail comes before the rename.
  auto work = SystemCall::openUnnoticed(descriptor, request.work.data(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!work) return std::unexpected(work.error());
  struct stat workStatus{};
  if (fstat(work->get(), &workStatus) != 0) return SystemCall::failure();
  // A work file that somebody may still write to could change after it has become the target.
  if (!S_ISREG(workStatus.st_mode) || workStatus.st_dev != status.st_dev || workStatus.st_nlink != 1 ||
      workStatus.st_ino != request.workInode || !isNodeOf(volume, workNode, workStatus) ||
      (workNode.open && workNode.open->writerCount != 0)) {
    return std::unexpected(ErrorNumber::busy);
  }
  const InodeKey key{.device = workStatus.st_dev, .inode = workStatus.st_ino};
  FileDescriptor path(openat(descriptor, request.work.data(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!path.isOpen()) return SystemCall::failure();
  auto pin = std::make_shared<InodeDescriptor>(std::move(path));
  const int workFile = work->get();
  auto content = BackingFile::open(std::move(*work), volume.source.descriptor->get());
  if (!content) return std::unexpected(content.error());
  const auto byteCount = (*content)->byteCount();
  if (!byteCount) return std::unexpected(byteCount.error());
  if (static_cast<std::int64_t>(*byteCount) != request.logicalSize) return std::unexpected(ErrorNumber::busy);

  WorkInProgress::unmark(workFile);
  if (renameat2(descriptor, request.work.data(), descriptor, request.target.data(), 0) != 0)
    return SystemCall::failure();

  volume.nodes.replaced(target, key, std::move(pin));
  if (open != nullptr && open->reading) open->reading = std::make_unique<Reading>(std::move(*content));
  // The pages that the kernel has show the same bytes.
  if (target.cachedVersion) {
    target.cachedVersion = ContentVersion{.inode = key.inode,
                                          .seconds = workStatus.st_mtim.tv_sec,
                                          .nanoseconds = workStatus.st_mtim.tv_nsec,
                                          .byteCount = *byteCount};
  }
  return {};
}

}  // namespace

Result<void> perform(Volume& volume, Node& folder, const VolumeProtocol::ReplaceRequest& request, uid_t caller) {
  if (caller != 0 && caller != geteuid()) return std::unexpected(ErrorNumber::notPermitted);
  if (!isLeaf(request.work) || !isLeaf(request.target) || Names::isHidden(volume, folder, request.work.data()) ||
      Names::isHidden(volume, folder, request.target.data())) {
    return std::unexpected(ErrorNumber::invalid);
  }
  const auto held = Inodes::descriptor(volume, folder);
  if (!held) return std::unexpected(held.error());
  const int descriptor = (*held)->get();

  // Nodes even if the kernel knows none, so that there are locks that keep a first opening out.
  const auto find = [&](const char* name) {
    const SharedLock lock(folder.lock);
    return Names::find(volume, folder, descriptor, name);
  };
  const auto targetEntry = find(request.target.data());
  if (!targetEntry) return std::unexpected(targetEntry.error());
  const HeldNode target(volume, targetEntry->node);
  const auto workEntry = find(request.work.data());
  if (!workEntry) return std::unexpected(workEntry.error());
  const HeldNode work(volume, workEntry->node);
  if (&target.get() == &work.get()) return std::unexpected(ErrorNumber::busy);

  const auto done = [&] {
    const PairLock<ExclusiveLock> fileLocks(target.get(), work.get());
    const ExclusiveLock folderLock(folder.lock);
    return replace(volume, descriptor, target.get(), work.get(), request);
  }();
  // Before the answer, so that whoever asked for it sees the new block count.
  if (done) {
    volume.kernel.forgetAttributes(volume.number(target.get()));
    volume.kernel.forgetListing(volume.number(folder));
  }
  return done;
}

}  // namespace quillbrook::InodeSwap
