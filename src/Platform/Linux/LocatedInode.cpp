// SPDX-License-Identifier: MIT
#include "Platform/Linux/LocatedInode.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<LocatedInode> LocatedInode::open(const VolumePath& place, const FilePath& path, FinalLink finalLink) {
  LocatedInode inode{.descriptor = {}, .acceptsCompression = place.acceptsCompression, .isReadOnly = place.isReadOnly};
  const bool mayFollow = finalLink == FinalLink::follow && !place.isMapped();
  auto opened = SystemCall::openAt(place.folder(), place.name.c_str(), O_PATH | (mayFollow ? 0 : O_NOFOLLOW));
  if (!opened) return std::unexpected(opened.error());
  if (finalLink == FinalLink::follow && place.isMapped()) {
    const auto status = SystemCall::status(opened->get());
    if (!status) return std::unexpected(status.error());
    if (S_ISLNK(status->st_mode)) {
      inode.acceptsCompression = false;
      inode.isReadOnly = false;
      opened = SystemCall::openAt(AT_FDCWD, path.c_str(), O_PATH);
      if (!opened) return std::unexpected(opened.error());
    }
  }
  inode.descriptor = std::move(*opened);
  return inode;
}

Result<LocatedInode> LocatedInode::open(const FilePath& path, FinalLink finalLink) {
  const auto place = VolumePath::locate(path);
  if (!place) return std::unexpected(place.error());
  return open(*place, path, finalLink);
}

}  // namespace quillbrook
