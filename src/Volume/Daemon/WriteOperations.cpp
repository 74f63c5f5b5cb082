// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Content.h"
#include "Volume/Daemon/Handles.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/PairLock.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

namespace {

const ErrorNumber badDescriptor{EBADF};

// Of content that goes at once: what was written before a failure counts.
Result<std::size_t> writeAll(int file, const char* bytes, std::size_t size, off_t offset, int flags) {
  std::size_t done = 0;
  while (done < size) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the structure serves reading and writing
    const iovec part{.iov_base = const_cast<char*>(bytes) + done, .iov_len = size - done};
    const ssize_t count =
        SystemCall::retrying([&] { return pwritev2(file, &part, 1, offset + static_cast<off_t>(done), flags); });
    if (count < 0 && done == 0) return SystemCall::failure();
    if (count <= 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

}  // namespace

void write(fuse_req_t request, fuse_ino_t number, const char* bytes, std::size_t size, off_t offset,
           fuse_file_info* file) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Written> {
    Node& node = volume.node(number);
    const SharedLock lock(node.lock);
    if (!node.open || !node.open->writing.isOpen()) return std::unexpected(badDescriptor);
    const int writing = node.open->writing.get();
    // Pages of a map go where they belong, whichever handle the kernel sends them by.
    const bool isFromMap = file->writepage != 0;
    const int flags = (file->flags & O_APPEND) != 0 && !isFromMap ? RWF_APPEND : 0;
    const auto count = writeAll(writing, bytes, size, offset, flags);
    if (!count) return std::unexpected(count.error());
    if (!isFromMap) {
      const auto done = Content::dropSetIdentifiers(volume, writing, fuse_req_ctx(request)->uid);
      if (!done) return std::unexpected(done.error());
    }
    return Reply::Written{*count};
  });
}

void fallocate(fuse_req_t request, fuse_ino_t number, int mode, off_t offset, off_t length, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    Node& node = volume.node(number);
    const SharedLock lock(node.lock);
    if (!node.open || !node.open->writing.isOpen()) return std::unexpected(badDescriptor);
    const int writing = node.open->writing.get();
    const auto done = SystemCall::checked([&] { return ::fallocate(writing, mode, offset, length); });
    return done ? Content::dropSetIdentifiers(volume, writing, fuse_req_ctx(request)->uid) : done;
  });
}

namespace {

// With both files' locks shared.
Result<Reply::Written> copyBetween(const Volume& volume, const OpenFile* from, off_t fromOffset, const OpenFile* to,
                                   off_t toOffset, std::size_t length, uid_t caller) {
  if (from == nullptr || to == nullptr || !to->writing.isOpen()) return std::unexpected(badDescriptor);
  // "Across devices" makes the kernel copy through its pages, which show what a compressed file holds.
  if (!from->reading || from->reading->file().isContainer()) return std::unexpected(ErrorNumber{EXDEV});
  const int reading = from->reading->file().contentDescriptor();
  const ssize_t count = copy_file_range(reading, &fromOffset, to->writing.get(), &toOffset, length, 0);
  if (count < 0) return SystemCall::failure();
  if (const auto done = Content::dropSetIdentifiers(volume, to->writing.get(), caller); !done) {
    return std::unexpected(done.error());
  }
  return Reply::Written{static_cast<std::size_t>(count)};
}

}  // namespace

void copyFileRange(fuse_req_t request, fuse_ino_t from, off_t fromOffset, fuse_file_info*, fuse_ino_t to,
                   off_t toOffset, fuse_file_info*, std::size_t length, int) {
  Reply::answer(request, [&](Volume& volume) QB_NO_THREAD_SAFETY_ANALYSIS -> Result<Reply::Written> {
    Node& source = volume.node(from);
    Node& target = volume.node(to);
    const auto ready = Content::sharing(volume, source, false, [](OpenFile&) { return Result<void>(); });
    if (!ready) return std::unexpected(ready.error());
    const PairLock<SharedLock> locks(source, target);
    return copyBetween(volume, source.open.get(), fromOffset, target.open.get(), toOffset, length,
                       fuse_req_ctx(request)->uid);
  });
}

}  // namespace quillbrook::Operations
