// SPDX-License-Identifier: MIT
#include "Platform/Linux/MountPlace.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace quillbrook {
namespace {

constexpr unsigned uniqueMountIdentifier = 0x4000;  // STATX_MNT_ID_UNIQUE, which older headers lack

std::optional<MountPlace> placeAt(int folder, const char* path) {
  struct statx status{};
  const unsigned mask = uniqueMountIdentifier | STATX_INO;
  if (::statx(folder, path, AT_EMPTY_PATH | AT_STATX_DONT_SYNC, mask, &status) == -1) return std::nullopt;
  if ((status.stx_mask & (uniqueMountIdentifier | STATX_MNT_ID)) == 0) return std::nullopt;
  return MountPlace{.mountIdentifier = status.stx_mnt_id, .inode = status.stx_ino};
}

}  // namespace

std::optional<MountPlace> MountPlace::of(int descriptor) {
  return placeAt(descriptor, "");
}

std::optional<MountPlace> MountPlace::of(const FilePath& path) {
  return placeAt(AT_FDCWD, path.c_str());
}

}  // namespace quillbrook
