// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <unistd.h>

#include <vector>

#include "Platform/Linux/SystemCall.h"
#include "Volume/Daemon/Content.h"
#include "Volume/Daemon/Handles.h"
#include "Volume/Daemon/Operations.h"
#include "Volume/Daemon/Reply.h"

namespace quillbrook::Operations {

void open(fuse_req_t request, fuse_ino_t number, fuse_file_info* file) {
  Reply::answer(request, [&](Volume& volume) {
    return Handles::open(volume, volume.node(number), file->flags, fuse_req_ctx(request)->uid);
  });
}

void release(fuse_req_t request, fuse_ino_t number, fuse_file_info* file) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    Handles::release(volume.node(number), Handles::handle(file->fh));
    return {};
  });
}

void read(fuse_req_t request, fuse_ino_t number, std::size_t size, off_t offset, fuse_file_info*) {
  // One for each thread, as large as the largest request that it has seen.
  static thread_local std::vector<char> buffer;
  if (buffer.size() < size) buffer.resize(size);
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Bytes> {
    return Content::sharing(volume, volume.node(number), false, [&](OpenFile& open) -> Result<Reply::Bytes> {
      const std::span<std::uint8_t> space(reinterpret_cast<std::uint8_t*>(buffer.data()), size);
      const auto count = open.reading->read(static_cast<std::uint64_t>(offset), space);
      if (!count) return std::unexpected(count.error());
      return Reply::Bytes{{buffer.data(), *count}};
    });
  });
}

void lseek(fuse_req_t request, fuse_ino_t number, off_t offset, int whence, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) -> Result<Reply::Position> {
    return Content::sharing(volume, volume.node(number), true, [&](OpenFile& open) -> Result<Reply::Position> {
      if (open.writing.isOpen() || !open.reading->file().isContainer()) {
        const int file = open.writing.isOpen() ? open.writing.get() : open.reading->file().contentDescriptor();
        const off_t found = ::lseek(file, offset, whence);
        if (found < 0) return SystemCall::failure();
        return Reply::Position{found};
      }
      const BackingFile& content = open.reading->file();
      // Compressed content is one piece of data without holes.
      const auto end = content.byteCount();
      if (!end) return std::unexpected(end.error());
      if (whence != SEEK_DATA && whence != SEEK_HOLE) return std::unexpected(ErrorNumber::invalid);
      if (offset < 0 || static_cast<std::uint64_t>(offset) >= *end) return std::unexpected(ErrorNumber{ENXIO});
      return Reply::Position{whence == SEEK_DATA ? offset : static_cast<off_t>(*end)};
    });
  });
}

void fsync(fuse_req_t request, fuse_ino_t number, int isDataOnly, fuse_file_info*) {
  Reply::answer(request, [&](Volume& volume) -> Result<void> {
    return Content::sharing(volume, volume.node(number), true, [&](OpenFile& open) {
      const int file = open.descriptor();
      return SystemCall::checked([&] { return isDataOnly != 0 ? fdatasync(file) : ::fsync(file); });
    });
  });
}

}  // namespace quillbrook::Operations
