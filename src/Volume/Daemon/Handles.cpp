// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Handles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Daemon/Content.h"
#include "Volume/Daemon/FileForm.h"
#include "Volume/Daemon/Inodes.h"
#include "Volume/Daemon/Writers.h"

namespace quillbrook::Handles {

namespace {

constexpr std::uint64_t writerBit = 1;
constexpr unsigned modeShift = 1;

bool wantsReading(int flags) {
  return (flags & O_ACCMODE) != O_WRONLY;
}
bool wantsWriting(int flags) {
  return (flags & O_ACCMODE) != O_RDONLY;
}

std::uint64_t& countOf(OpenFile& open, HandleMode mode) {
  switch (mode) {
    case HandleMode::cached: return open.cachedCount;
    case HandleMode::passthrough: return open.passthroughCount;
    case HandleMode::direct: break;
  }
  return open.directCount;
}

ContentVersion versionOf(const struct stat& status, std::uint64_t byteCount) {
  return {.inode = status.st_ino,
          .seconds = status.st_mtim.tv_sec,
          .nanoseconds = status.st_mtim.tv_nsec,
          .byteCount = byteCount};
}

bool isOrdinary(const OpenFile& open) {
  if (open.writing.isOpen()) return true;
  const BackingFile& content = open.reading->file();
  return !content.isContainer() && content.contentDescriptor() == content.descriptor() &&
         !(content.state() && content.state()->isUnderConstruction());
}

// The file as cached pages of it would show it now.
std::optional<ContentVersion> versionOf(const OpenFile& open) {
  struct stat status{};
  if (fstat(open.descriptor(), &status) != 0) return std::nullopt;
  if (isOrdinary(open)) return versionOf(status, static_cast<std::uint64_t>(status.st_size));
  const auto byteCount = open.reading->file().byteCount();
  if (!byteCount) return std::nullopt;
  return versionOf(status, *byteCount);
}

bool hasSetIdentifiers(int file) {
  struct stat status{};
  return fstat(file, &status) != 0 || (status.st_mode & (S_ISUID | S_ISGID)) != 0;
}

// Past the daemon nobody would take set-id bits away, and a handle would go on appending after its program has switched
// that off.
bool isBetterServed(const OpenFile& open, int flags) {
  return wantsWriting(flags) && ((flags & O_APPEND) != 0 || hasSetIdentifiers(open.writing.get()));
}

// Makes the inode known to the kernel, so that it serves the file by itself; whether it can.
bool setBacking(Volume& volume, Node& node, OpenFile& open) QB_REQUIRES(node.lock) {
  const auto inode = Inodes::descriptor(volume, node);
  if (!inode) return false;
  const bool isKnown = open.writing.isOpen() || open.reading;
  if (!(isKnown ? isOrdinary(open) : FileForm::of((*inode)->get()).isOrdinary())) return false;
  const auto identifier = (*inode)->backingIdentifier(volume.kernel);
  if (!identifier) return false;
  open.backing = *inode;
  open.backingIdentifier = *identifier;
  return true;
}

// How the kernel shall serve another handle. A reader's content need not stand ready for that, a writer's must.
// `isMappedPast`: no handle is left, but a map through which a program writes to the inode itself.
Result<HandleMode> chooseMode(Volume& volume, Node& node, OpenFile& open, int flags, bool isMappedPast)
    QB_REQUIRES(node.lock) {
  const bool isLock = (flags & VolumeProtocol::lockOpenFlags) == VolumeProtocol::lockOpenFlags && !wantsWriting(flags);
  if (open.passthroughCount != 0) {
    // The kernel takes no other mode then, and such a file cannot be replaced: those handles would stay with the old
    // inode.
    if (isLock) return std::unexpected(ErrorNumber::wouldBlock);
    return HandleMode::passthrough;
  }
  if (isMappedPast) {
    // Pages of a cached handle would show other bytes than the map, and go over them.
    if (isLock) return std::unexpected(ErrorNumber::wouldBlock);
    if (!setBacking(volume, node, open)) return std::unexpected(ErrorNumber::busy);
    return HandleMode::passthrough;
  }
  // Does not keep the file from being replaced, and the kernel lets it stand beside cached handles.
  if (isLock && volume.kernel.hasPassthrough()) return HandleMode::direct;
  if (!volume.kernel.hasPassthrough() || open.cachedCount != 0 || open.directCount != 0) return HandleMode::cached;
  if (isBetterServed(open, flags)) return HandleMode::cached;
  return setBacking(volume, node, open) ? HandleMode::passthrough : HandleMode::cached;
}

// Counts the handle in and tells the kernel how to serve it.
Reply::Opened finishOpen(Node& node, OpenFile& open, int flags, HandleMode mode) QB_REQUIRES(node.lock) {
  const Handle handle{.isWriter = wantsWriting(flags), .mode = mode};
  KernelProtocol::OpenReply reply{.handle = number(handle), .openFlags = 0, .backingIdentifier = 0};
  if (!handle.isWriter) reply.openFlags |= FOPEN_NOFLUSH;
  switch (handle.mode) {
    case HandleMode::direct: reply.openFlags |= FOPEN_DIRECT_IO; break;
    case HandleMode::passthrough:
      // The kernel drops the pages that it has, and takes no new ones in this mode.
      reply.openFlags |= KernelProtocol::openPassthrough;
      reply.backingIdentifier = open.backingIdentifier;
      node.cachedVersion.reset();
      break;
    case HandleMode::cached:
      // While cached handles are open, the kernel's pages follow every write.
      const auto version = versionOf(open);
      if (version && (open.cachedCount != 0 || version == node.cachedVersion)) reply.openFlags |= FOPEN_KEEP_CACHE;
      node.cachedVersion = version;
      break;
  }
  ++countOf(open, handle.mode);
  if (handle.isWriter) ++open.writerCount;
  if (handle.isWriter && handle.mode == HandleMode::passthrough) node.isWrittenPastDaemon = true;
  return Reply::Opened{.node = node, .handle = handle, .reply = reply};
}

// What the daemon cannot do once the kernel lets the caller write by itself.
Result<void> letWritePast(Volume& volume, OpenFile& open, uid_t caller) {
  struct stat status{};
  if (fstat(open.writing.get(), &status) != 0) return SystemCall::failure();
  if (caller != 0 && caller != status.st_uid) open.hasForeignWriter = true;
  if ((status.st_mode & (S_ISUID | S_ISGID)) == 0) return {};
  return Content::dropSetIdentifiers(volume, open.writing.get(), caller);
}

}  // namespace

std::uint64_t number(Handle handle) {
  return (handle.isWriter ? writerBit : 0) | (std::uint64_t{std::to_underlying(handle.mode)} << modeShift);
}

Handle handle(std::uint64_t number) {
  return {.isWriter = (number & writerBit) != 0, .mode = static_cast<HandleMode>(number >> modeShift)};
}

bool isWrittenPast(Volume& volume, Node& node) {
  if (!node.isWrittenPastDaemon) return false;
  if (node.open && node.open->passthroughCount != 0 && node.open->writerCount != 0) return true;
  const auto file = Inodes::open(volume, node, O_RDONLY | O_NONBLOCK);
  if (!file || !isFreeOfWriters(file->get())) return true;
  node.isWrittenPastDaemon = false;
  return false;
}

Result<Reply::Opened> open(Volume& volume, Node& node, int flags, uid_t caller) {
  const bool truncates = (flags & O_TRUNC) != 0;
  const ExclusiveLock lock(node.lock);
  std::unique_ptr<OpenFile> fresh;
  if (!node.open) fresh = std::make_unique<OpenFile>();
  OpenFile& open = fresh ? *fresh : *node.open;
  // Asked before this opening writes itself.
  const bool isMappedPast = open.passthroughCount == 0 && open.cachedCount == 0 && isWrittenPast(volume, node);
  if (wantsWriting(flags) || truncates) {
    if (const auto done = Content::prepareWriting(volume, node, open, flags, caller); !done) {
      return std::unexpected(done.error());
    }
  }
  const auto mode = chooseMode(volume, node, open, flags, isMappedPast);
  Result<void> ready;
  if (!mode) {
    ready = std::unexpected(mode.error());
  } else if (wantsReading(flags) && *mode != HandleMode::passthrough) {
    ready = Content::prepareReading(volume, node, open);
  } else if (wantsWriting(flags) && *mode == HandleMode::passthrough) {
    ready = letWritePast(volume, open, caller);
  }
  if (open.writerCount == 0 && (!ready || !wantsWriting(flags))) open.writing.reset();
  if (!ready) return std::unexpected(ready.error());
  if (fresh) node.open = std::move(fresh);
  // What the kernel keeps already would stay for long.
  const bool mayKeepAttributes = !node.isWrittenPastDaemon;
  const Reply::Opened opened = finishOpen(node, *node.open, flags, *mode);
  if (mayKeepAttributes && node.isWrittenPastDaemon) volume.kernel.forgetAttributes(volume.number(node));
  return opened;
}

Result<Reply::Opened> adopt(Volume& volume, Node& node, FileDescriptor file, int flags) {
  const ExclusiveLock lock(node.lock);
  std::unique_ptr<OpenFile> fresh;
  if (!node.open) fresh = std::make_unique<OpenFile>();
  OpenFile& open = fresh ? *fresh : *node.open;
  const int made = file.get();
  if (wantsWriting(flags) && !open.writing.isOpen()) open.writing = std::move(file);
  const auto mode = chooseMode(volume, node, open, flags, false);
  const auto ready = [&]() -> Result<void> {
    if (!mode) return std::unexpected(mode.error());
    if (!wantsReading(flags) || *mode == HandleMode::passthrough || open.reading) return {};
    // By what it was made with: its mode may forbid opening it again.
    FileDescriptor own(fcntl(made, F_DUPFD_CLOEXEC, 0));
    if (!own.isOpen()) return SystemCall::failure();
    auto content = BackingFile::open(std::move(own), volume.source.descriptor->get());
    if (!content) return std::unexpected(content.error());
    open.reading = std::make_unique<Reading>(std::move(*content));
    return {};
  }();
  if (!ready) {
    if (open.writerCount == 0) open.writing.reset();
    return std::unexpected(ready.error());
  }
  if (fresh) node.open = std::move(fresh);
  return finishOpen(node, *node.open, flags, *mode);
}

void release(Node& node, Handle handle) {
  // These end behind the lock, since the host may take long over them. The writing descriptor does not: whoever has the
  // lock next finds nobody writing.
  std::unique_ptr<OpenFile> ended;
  SharedDescriptor backing;
  const ExclusiveLock lock(node.lock);
  if (!node.open) return;
  OpenFile& open = *node.open;
  --countOf(open, handle.mode);
  if (open.passthroughCount == 0) backing = std::move(open.backing);
  if (handle.isWriter && --open.writerCount == 0) {
    if (handle.mode == HandleMode::cached) node.cachedVersion = versionOf(open);
    open.writing.reset();
    open.hasForeignWriter = false;
  }
  if (open.handleCount() == 0) ended = std::move(node.open);
}

}  // namespace quillbrook::Handles
