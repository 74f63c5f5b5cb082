// SPDX-License-Identifier: MIT
#include "Platform/Linux/NewWorkFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "Container/ContainerState.h"
#include "Platform/Linux/ExtendedAttributes.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/HostFlags.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {
namespace {

void equip(int file, std::uint32_t hostFlags) {
  HostFlags::carry(hostFlags, file);
  // ext4 keeps attributes in the inode itself while they fit there, and never moves one in later. The state comes
  // first, so that it has that place and the mark, which goes again, the block that goes with it.
  // Where there is no room or there are no attributes, that shows when there is something to keep.
  [[maybe_unused]] const auto reserved = StoredState::write(file, ContainerState{});
  constexpr std::array<std::uint8_t, 1> value{1};
  [[maybe_unused]] const auto marked = ExtendedAttributes::set(file, ReservedNames::workFileMarker, value);
}

// Nothing where the host makes no files without a name.
std::optional<Result<NewWorkFile>> createUnnamed(const VolumePath& place, mode_t mode, std::uint32_t hostFlags) {
  auto file = SystemCall::openAt(place.folder(), ".", O_WRONLY | O_TMPFILE, mode);
  if (!file) return std::nullopt;
  equip(file->get(), hostFlags);
  const auto status = SystemCall::status(file->get());
  if (!status) return std::unexpected(status.error());
  const std::string path = SystemCall::pathOf(file->get());
  const auto named = SystemCall::checked(
      [&] { return ::linkat(AT_FDCWD, path.c_str(), place.folder(), place.name.c_str(), AT_SYMLINK_FOLLOW); });
  if (named) return NewWorkFile{.file = std::move(*file), .inode = InodeNumber::of(*status)};
  if (named.error() == ErrorNumber::exists) return std::unexpected(named.error());
  return std::nullopt;
}

// By where it lies, so that nothing goes that another program has put there.
void removeUnknown(const VolumePath& place, int file) {
  const auto own = FolderPath::of(file);
  const auto folder = FolderPath::of(place.folder());
  if (own && folder && *own == folder->appending(place.name)) ::unlinkat(place.folder(), place.name.c_str(), 0);
}

}  // namespace

Result<NewWorkFile> NewWorkFile::create(const VolumePath& place, mode_t mode, std::uint32_t hostFlags) {
  if (auto made = createUnnamed(place, mode, hostFlags)) return std::move(*made);
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
  auto file = SystemCall::openAt(place.folder(), place.name.c_str(), flags, mode);
  if (!file) return std::unexpected(file.error());
  equip(file->get(), hostFlags);
  const auto status = SystemCall::status(file->get());
  if (status) return NewWorkFile{.file = std::move(*file), .inode = InodeNumber::of(*status)};
  removeUnknown(place, file->get());
  return std::unexpected(status.error());
}

}  // namespace quillbrook
