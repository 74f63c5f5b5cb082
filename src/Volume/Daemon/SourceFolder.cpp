// SPDX-License-Identifier: MIT
#include "Volume/Daemon/SourceFolder.h"

#include <fcntl.h>

#include <cerrno>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/VolumeNesting.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/PrivateFolder.h"

namespace quillbrook {

namespace {

std::string words(const std::string& what) {
  return what + ": " + ErrorNumber{errno}.text();
}

// What of the volumes in the mount table speaks against `source`.
std::optional<std::string> conflict(const FilePath& source) {
  const auto table = MountTable::read();
  if (!table) return "cannot read the mount table: " + table.error().text();
  for (const MountEntry& entry : *table) {
    if (entry.type != VolumeProtocol::mountType) continue;
    const auto nesting = VolumeNesting::find(source, FilePath(entry.mountPoint), FilePath(entry.source));
    if (!nesting) continue;
    return source.displayText() + (nesting->isInside ? " lies inside" : " holds") + " the volume at " +
           FilePath(entry.mountPoint).displayText() + ": unmount that one first";
  }
  return std::nullopt;
}

std::expected<std::optional<SourceLock>, std::string> lockSource(int source, bool isReadOnly) {
  const auto failed = [](ErrorNumber reason) {
    return std::unexpected("cannot make the volume's own folder: " + reason.text());
  };
  if (isReadOnly) {
    const auto folder = PrivateFolder::open(source);
    if (!folder && (folder.error() == ErrorNumber{EROFS} || folder.error() == ErrorNumber{EACCES})) return std::nullopt;
    if (!folder) return failed(folder.error());
  }
  auto lock = SourceLock::acquire(source);
  if (!lock && lock.error() == ErrorNumber::wouldBlock) {
    return std::unexpected("another daemon serves this folder, or `quillbrookctl volume restore` is at work in it");
  }
  if (!lock) return std::unexpected("cannot lock the folder: " + lock.error().text());
  // Without a place for redo copies no compressed file could ever be written to.
  if (const auto redo = PrivateFolder::openRedo(source); !redo) return failed(redo.error());
  return std::move(*lock);
}

bool isSameFolder(const FilePath& path, const struct stat& status) {
  struct stat other{};
  return stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
}

}  // namespace

std::expected<SourceFolder, std::string> SourceFolder::open(const Options& options) {
  SourceFolder folder;
  FileDescriptor descriptor(::open(options.source.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.isOpen()) return std::unexpected(words(options.source.displayText()));
  if (fstat(descriptor.get(), &folder.status) != 0) return std::unexpected(words(options.source.displayText()));

  const auto path = FolderPath::of(descriptor.get());
  if (!path) return std::unexpected("cannot tell where the folder lies: " + path.error().text());
  folder.path = path->bytes();

  if (options.deviceDescriptor) {
    // Mounted already, and nobody answers there before this daemon does: the mount point must not be touched.
    folder.isInPlace = options.mountPoint == options.source || options.mountPoint.bytes() == folder.path;
  } else {
    if (auto reason = conflict(*path)) return std::unexpected(std::move(*reason));
    folder.isInPlace = isSameFolder(options.mountPoint, folder.status);
  }
  auto lock = lockSource(descriptor.get(), options.readOnly);
  if (!lock) return std::unexpected(std::move(lock.error()));
  folder.lock = std::move(*lock);
  folder.descriptor = std::make_shared<InodeDescriptor>(std::move(descriptor));
  return folder;
}

}  // namespace quillbrook
