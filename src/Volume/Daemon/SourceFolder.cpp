// SPDX-License-Identifier: MIT
#include "Volume/Daemon/SourceFolder.h"

#include <fcntl.h>

#include <utility>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeNesting.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

namespace {

std::unexpected<SourceError> systemFailure(std::string action, const FilePath& folder, ErrorNumber reason) {
  return std::unexpected<SourceError>(
      SourceErrors::SystemFailure{.action = std::move(action), .folder = folder, .reason = reason});
}

// Refuses if a volume in the mount table lies in `source`, or `source` in it.
std::expected<void, SourceError> checkNesting(const FilePath& source) {
  const auto table = MountTable::read();
  if (!table) return systemFailure("look for volumes around", source, table.error());
  for (const MountEntry& entry : *table) {
    if (entry.type != VolumeProtocol::mountType) continue;
    const FilePath volume(entry.mountPoint);
    const auto nesting = VolumeNesting::find(source, volume, FilePath(entry.source), *table);
    if (!nesting) continue;
    return std::unexpected(SourceErrors::Nested{.folder = source, .volume = volume, .isInside = nesting->isInside});
  }
  return {};
}

// Nothing for what cannot be locked and need not be: a folder that nobody can change.
std::expected<std::optional<SourceLock>, SourceError> lockSource(const FilePath& path, int source, bool isReadOnly) {
  constexpr const char* making = "make the volume's own folder in";
  if (isReadOnly) {
    const auto folder = PrivateFolder::open(source);
    if (!folder && (folder.error() == ErrorNumber::readOnly || folder.error() == ErrorNumber::accessDenied)) {
      return std::nullopt;
    }
    if (!folder && folder.error() != ErrorNumber::notPermitted) return systemFailure(making, path, folder.error());
  }
  auto lock = SourceLock::acquire(source);
  if (!lock && lock.error() == ErrorNumber::wouldBlock) return std::unexpected(SourceErrors::Served{.folder = path});
  if (!lock && !PrivateFolder::exists(source)) return systemFailure(making, path, lock.error());
  if (!lock && (lock.error() == ErrorNumber::notPermitted || lock.error() == ErrorNumber::accessDenied)) {
    return std::unexpected(SourceErrors::ForeignPrivateFolder{.folder = path});
  }
  if (!lock) return systemFailure("lock", path, lock.error());
  // Without a place for redo copies no compressed file could ever be written to.
  if (const auto redo = PrivateFolder::openRedo(source); !redo) return systemFailure(making, path, redo.error());
  return std::move(*lock);
}

bool isSameFolder(const FilePath& path, const struct stat& status) {
  struct stat other{};
  return stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
}

}  // namespace

std::expected<SourceFolder, SourceError> SourceFolder::open(const Options& options) {
  SourceFolder folder;
  auto descriptor = SystemCall::openAt(AT_FDCWD, options.source.c_str(), O_RDONLY | O_DIRECTORY);
  if (!descriptor) {
    return std::unexpected(SourceErrors::NotAFolder{.path = options.source, .reason = descriptor.error()});
  }
  const auto status = SystemCall::status(descriptor->get());
  if (!status) return std::unexpected(SourceErrors::NotAFolder{.path = options.source, .reason = status.error()});
  folder.status = *status;

  const auto path = FolderPath::of(descriptor->get());
  if (!path) return systemFailure("tell the whole path of", options.source, path.error());
  folder.path = path->bytes();

  if (options.deviceDescriptor) {
    // Mounted already, and nobody answers there before this daemon does: the mount point must not be touched.
    folder.isInPlace = options.mountPoint == options.source || options.mountPoint.bytes() == folder.path;
  } else {
    if (auto done = checkNesting(*path); !done) return std::unexpected(std::move(done.error()));
    folder.isInPlace = isSameFolder(options.mountPoint, folder.status);
  }
  auto lock = lockSource(*path, descriptor->get(), options.readOnly);
  if (!lock) return std::unexpected(std::move(lock.error()));
  folder.lock = std::move(*lock);
  folder.descriptor = std::make_shared<InodeDescriptor>(std::move(*descriptor));
  return folder;
}

}  // namespace quillbrook
