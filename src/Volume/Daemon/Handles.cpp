// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Handles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <utility>

#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook::Handles {

namespace {

constexpr std::uint64_t writerBit = 1;
constexpr std::uint64_t appendingBit = 2;
constexpr unsigned modeShift = 2;

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

Result<HandleMode> chooseMode(Volume& volume, OpenFile& open, int flags) {
  const bool isLock = (flags & VolumeProtocol::lockOpenFlags) == VolumeProtocol::lockOpenFlags && !wantsWriting(flags);
  if (open.passthroughCount != 0) {
    // The kernel takes no other mode then, and such a file cannot be replaced: those handles would stay with the old
    // inode.
    if (isLock) return std::unexpected(ErrorNumber::wouldBlock);
    return HandleMode::passthrough;
  }
  // Does not keep the file from being replaced, and the kernel lets it stand beside cached handles.
  if (isLock && volume.kernel.hasPassthrough()) return HandleMode::direct;
  if (!volume.kernel.hasPassthrough() || open.cachedCount != 0 || open.directCount != 0 || !isOrdinary(open)) {
    return HandleMode::cached;
  }
  // Past the daemon nobody would take set-id bits away.
  if (wantsWriting(flags) && hasSetIdentifiers(open.descriptor())) return HandleMode::cached;
  const auto identifier = volume.kernel.registerBacking(open.descriptor());
  if (!identifier) return HandleMode::cached;
  open.backingIdentifier = *identifier;
  return HandleMode::passthrough;
}

// Counts the handle in and tells the kernel how to serve it.
Result<Reply::Opened> finishOpen(Volume& volume, Node& node, OpenFile& open, int flags) REQUIRES(node.lock) {
  const auto mode = chooseMode(volume, open, flags);
  if (!mode) return std::unexpected(mode.error());
  const Handle handle{.isWriter = wantsWriting(flags), .isAppending = (flags & O_APPEND) != 0, .mode = *mode};
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
  return Reply::Opened{.node = node, .handle = handle, .reply = reply};
}

}  // namespace

std::uint64_t number(Handle handle) {
  return (handle.isWriter ? writerBit : 0) | (handle.isAppending ? appendingBit : 0) |
         (std::uint64_t{std::to_underlying(handle.mode)} << modeShift);
}

Handle handle(std::uint64_t number) {
  return {.isWriter = (number & writerBit) != 0,
          .isAppending = (number & appendingBit) != 0,
          .mode = static_cast<HandleMode>(number >> modeShift)};
}

Result<Reply::Opened> open(Volume& volume, Node& node, int flags, uid_t caller) {
  const bool truncates = (flags & O_TRUNC) != 0;
  const ExclusiveLock lock(node.lock);
  std::unique_ptr<OpenFile> fresh;
  if (!node.open) fresh = std::make_unique<OpenFile>();
  OpenFile& open = fresh ? *fresh : *node.open;
  if (wantsWriting(flags) || truncates) {
    if (const auto done = Content::prepareWriting(volume, node, open, truncates, caller); !done) {
      return std::unexpected(done.error());
    }
  }
  if (wantsReading(flags)) {
    if (const auto done = Content::prepareReading(volume, node, open); !done) {
      if (open.writerCount == 0) open.writing.reset();
      return std::unexpected(done.error());
    }
    if (open.writerCount == 0 && !wantsWriting(flags)) open.writing.reset();
  }
  if (fresh) node.open = std::move(fresh);
  return finishOpen(volume, node, *node.open, flags);
}

Result<Reply::Opened> adopt(Volume& volume, Node& node, FileDescriptor file, int flags) {
  const ExclusiveLock lock(node.lock);
  std::unique_ptr<OpenFile> fresh;
  if (!node.open) fresh = std::make_unique<OpenFile>();
  OpenFile& open = fresh ? *fresh : *node.open;
  if (wantsReading(flags) && !open.reading) {
    FileDescriptor own(fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
    if (!own.isOpen()) return SystemCall::failure();
    auto content = BackingFile::open(std::move(own), volume.source.descriptor->get());
    if (!content) return std::unexpected(content.error());
    open.reading = std::make_unique<Reading>(std::move(*content));
  }
  if (wantsWriting(flags) && !open.writing.isOpen()) open.writing = std::move(file);
  if (fresh) node.open = std::move(fresh);
  return finishOpen(volume, node, *node.open, flags);
}

void release(Volume& volume, Node& node, Handle handle) {
  std::unique_ptr<OpenFile> ended;  // its descriptors are closed behind the lock
  const ExclusiveLock lock(node.lock);
  if (!node.open) return;
  OpenFile& open = *node.open;
  --countOf(open, handle.mode);
  if (handle.mode == HandleMode::passthrough && open.passthroughCount == 0) {
    volume.kernel.unregisterBacking(std::exchange(open.backingIdentifier, 0));
  }
  if (handle.isWriter && --open.writerCount == 0) {
    if (handle.mode == HandleMode::cached) node.cachedVersion = versionOf(open);
    open.writing.reset();
  }
  if (open.handleCount() == 0) ended = std::move(node.open);
}

}  // namespace quillbrook::Handles
