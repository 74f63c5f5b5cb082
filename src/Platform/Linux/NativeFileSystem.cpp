// SPDX-License-Identifier: MIT
#include "Platform/Linux/NativeFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "Platform/Linux/BackingFile.h"
#include "Platform/Linux/ContainerBuilder.h"
#include "Platform/Linux/ExtendedAttributes.h"
#include "Platform/Linux/FileFlags.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/HostFlags.h"
#include "Platform/Linux/LocatedInode.h"
#include "Platform/Linux/NativeLock.h"
#include "Platform/Linux/PathBinding.h"
#include "Platform/Linux/ReplacingRename.h"
#include "Platform/Linux/ShownStatus.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumePath.h"
#include "Platform/Linux/WorkInProgress.h"
#include "Platform/ReservedNames.h"

namespace quillbrook {
namespace {

FinalLink finalLink(XattrOptions options) {
  return options.noFollow ? FinalLink::noFollow : FinalLink::follow;
}

class NativeReader : public FileReader {
 public:
  explicit NativeReader(Result<std::unique_ptr<const BackingFile>> file) : file_(std::move(file)) {}

  Result<std::size_t> read(std::span<std::uint8_t> destination) override {
    if (!file_) return std::unexpected(file_.error());
    const auto got = (*file_)->read(position_, destination, scratch_);
    if (got) position_ += *got;
    return got;
  }

 private:
  // What is wrong inside a file that did open shows where its bytes are asked for.
  Result<std::unique_ptr<const BackingFile>> file_;
  std::uint64_t position_ = 0;
  ContainerReader::Scratch scratch_;
};

class NativeWriter : public FileWriter {
 public:
  explicit NativeWriter(FileDescriptor file) : file_(std::move(file)) {}

  Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
    const auto written = ::write(file_.get(), bytes.data(), bytes.size());
    if (written == -1) return SystemCall::failure();
    return static_cast<std::size_t>(written);
  }
  Result<std::uint64_t> lseek(std::uint64_t position) override {
    const auto reached = ::lseek(file_.get(), static_cast<off_t>(position), SEEK_SET);
    if (reached == -1) return SystemCall::failure();
    return static_cast<std::uint64_t>(reached);
  }
  Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
    return ExtendedAttributes::set(file_.get(), name, value);
  }
  Result<void> close() override { return SystemCall::close(std::move(file_)); }

 private:
  FileDescriptor file_;
};

Result<VolumePath> locateForChange(const FilePath& path) {
  auto place = VolumePath::locate(path);
  if (place && place->isReadOnly) return std::unexpected(ErrorNumber::readOnly);
  return place;
}

// `stale` where the path has come to lead to another file since an operation of ours began to work on it.
Result<LocatedInode> openBound(const FilePath& path, FinalLink finalLink) {
  auto inode = LocatedInode::open(path, finalLink);
  if (inode && !PathBinding::allows(path, inode->descriptor.get())) return std::unexpected(ErrorNumber::stale);
  return inode;
}

bool isForeignWorkFile(const FilePath& path) {
  return ReservedNames::isWorkFileName(path.name()) && !PathBinding::find(path);
}

// A work file is changed by nobody but the process that made it, and never through a link: whoever may write in the
// folder could put another file there, which would get the user's owner and mode.
Result<LocatedInode> openForChange(const FilePath& path, FinalLink finalLink) {
  const bool isWorkFile = ReservedNames::isWorkFileName(path.name());
  auto inode = openBound(path, isWorkFile ? FinalLink::noFollow : finalLink);
  if (!inode) return inode;
  if (inode->isReadOnly) return std::unexpected(ErrorNumber::readOnly);
  if (isForeignWorkFile(path)) return std::unexpected(ErrorNumber::stale);
  return inode;
}

// ext4 keeps attributes in the inode itself while they fit there, and never moves one in later. The state comes first,
// so that it has that place and the work file's marker, which goes again, the block that goes with it.
void reserveState(int file) {
  // Where there is no room or there are no attributes, the state shows that when it has something to keep.
  [[maybe_unused]] const auto kept = StoredState::write(file, ContainerState{});
}

// Nothing where they cannot be told; then none are carried.
std::uint32_t carriedHostFlags(const FilePath& like) {
  const auto place = VolumePath::locate(like);
  if (!place) return 0;
  const auto source = SystemCall::openAt(place->folder(), place->name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  return source ? HostFlags::carried(source->get()) : 0;
}

// A file that was just created and whose number cannot be told: by where it lies, so that nothing goes that another
// program has put there.
void removeUnknown(const VolumePath& place, int file) {
  const auto own = FolderPath::of(file);
  const auto folder = FolderPath::of(place.folder());
  if (own && folder && *own == folder->appending(place.name)) ::unlinkat(place.folder(), place.name.c_str(), 0);
}

}  // namespace

FileSystem& FileSystem::native() {
  static NativeFileSystem instance;
  return instance;
}

Result<FileStatus> NativeFileSystem::lstat(const FilePath& path) {
  const auto inode = LocatedInode::open(path, FinalLink::noFollow);
  if (!inode) return std::unexpected(inode.error());
  return ShownStatus::of(inode->descriptor.get());
}

Result<void> NativeFileSystem::chown(const FilePath& path, std::uint32_t owner, std::uint32_t group) {
  const auto inode = openForChange(path, FinalLink::follow);
  if (!inode) return std::unexpected(inode.error());
  return SystemCall::checked([&] { return ::fchownat(inode->descriptor.get(), "", owner, group, AT_EMPTY_PATH); });
}

Result<void> NativeFileSystem::chmod(const FilePath& path, std::uint32_t mode) {
  const auto inode = openForChange(path, FinalLink::follow);
  if (!inode) return std::unexpected(inode.error());
  return SystemCall::checked([&] { return ::chmod(SystemCall::pathOf(inode->descriptor.get()).c_str(), mode); });
}

Result<void> NativeFileSystem::chflags(const FilePath& path, std::uint32_t flags) {
  const auto inode = openForChange(path, FinalLink::follow);
  if (!inode) return std::unexpected(inode.error());
  return FileFlags::set(inode->descriptor.get(), flags, inode->acceptsCompression);
}

Result<void> NativeFileSystem::setFileTimes(const FilePath& path, Timestamp access, Timestamp modification) {
  const auto inode = openForChange(path, FinalLink::noFollow);
  if (!inode) return std::unexpected(inode.error());
  const std::array<struct timespec, 2> times{
      timespec{.tv_sec = access.seconds, .tv_nsec = static_cast<long>(access.nanoseconds)},
      timespec{.tv_sec = modification.seconds, .tv_nsec = static_cast<long>(modification.nanoseconds)}};
  return SystemCall::checked([&] { return ::utimensat(inode->descriptor.get(), "", times.data(), AT_EMPTY_PATH); });
}

Result<void> NativeFileSystem::setCreationTime(const FilePath& path, Timestamp creation) {
  const auto inode = openForChange(path, FinalLink::noFollow);
  if (!inode) return std::unexpected(inode.error());
  return FileFlags::setCreationTime(inode->descriptor.get(), creation);
}

Result<std::size_t> NativeFileSystem::getxattr(const FilePath& path, std::string_view name,
                                               std::span<std::uint8_t> value, XattrOptions options) {
  const auto inode = openBound(path, finalLink(options));
  if (!inode) return std::unexpected(inode.error());
  return ExtendedAttributes::get(inode->descriptor.get(), name, value, options.showCompression);
}

Result<void> NativeFileSystem::setxattr(const FilePath& path, std::string_view name,
                                        std::span<const std::uint8_t> value, XattrOptions options) {
  const auto inode = openForChange(path, finalLink(options));
  if (!inode) return std::unexpected(inode.error());
  return WorkInProgress::notingWantOfSpace(inode->descriptor.get(),
                                           ExtendedAttributes::set(inode->descriptor.get(), name, value));
}

Result<void> NativeFileSystem::removexattr(const FilePath& path, std::string_view name, XattrOptions options) {
  const auto inode = openForChange(path, finalLink(options));
  if (!inode) return std::unexpected(inode.error());
  // A work file loses its marker only when its data are on the disk: what a power cut leaves without one is whole.
  if (name == ReservedNames::workFileMarker) {
    if (const auto onDisk = WorkInProgress::waitForData(inode->descriptor.get()); !onDisk) return onDisk;
  }
  return ExtendedAttributes::remove(inode->descriptor.get(), name);
}

Result<std::size_t> NativeFileSystem::listxattr(const FilePath& path, std::span<char> names, XattrOptions options) {
  const auto inode = openBound(path, finalLink(options));
  if (!inode) return std::unexpected(inode.error());
  return ExtendedAttributes::list(inode->descriptor.get(), names, options.showCompression);
}

Result<void> NativeFileSystem::copyACL(const FilePath& source, const FilePath& destination) {
  const auto from = openBound(source, FinalLink::follow);
  if (!from) return std::unexpected(from.error());
  const auto to = openForChange(destination, FinalLink::follow);
  if (!to) return std::unexpected(to.error());
  return WorkInProgress::notingWantOfSpace(
      to->descriptor.get(), ExtendedAttributes::copyAccessList(from->descriptor.get(), to->descriptor.get()));
}

Result<std::unique_ptr<FileWriter>> NativeFileSystem::createExclusively(const FilePath& path, std::uint32_t mode,
                                                                        const FilePath& like) {
  const auto place = locateForChange(path);
  if (!place) return std::unexpected(place.error());
  // Before there is a file: until its maker has marked it, a crash would leave something that nobody may clear away.
  const std::uint32_t hostFlags = carriedHostFlags(like);
  auto file = SystemCall::openAt(place->folder(), place->name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW,
                                 mode & SystemCall::permissionBits);
  if (!file) return std::unexpected(file.error());
  const auto status = SystemCall::status(file->get());
  if (!status) {
    removeUnknown(*place, file->get());
    return std::unexpected(status.error());
  }
  if (ReservedNames::isWorkFileName(place->name)) PathBinding::bind(path, InodeNumber::of(*status));
  WorkInProgress::begin(InodeNumber::of(*status), file->get());
  HostFlags::carry(hostFlags, file->get());
  reserveState(file->get());
  return std::make_unique<NativeWriter>(std::move(*file));
}

Result<std::unique_ptr<FileWriter>> NativeFileSystem::openResourceFork(const FilePath& path) {
  const auto inode = openForChange(path, FinalLink::follow);
  if (!inode) return std::unexpected(inode.error());
  const auto state = StoredState::read(inode->descriptor.get());
  if (!state) return std::unexpected(state.error());
  // Only a container has room for a fork that is written piece by piece.
  if (!*state || !(*state)->isUnderConstruction()) return std::unexpected(ErrorNumber::notSupported);
  return ContainerBuilder::openFork(inode->descriptor.get(), **state);
}

Result<std::unique_ptr<FileReader>> NativeFileSystem::openForReading(const FilePath& path) {
  const auto place = VolumePath::locate(path);
  if (!place) return std::unexpected(place.error());
  const auto inode = LocatedInode::open(*place, path, FinalLink::follow);
  if (!inode) return std::unexpected(inode.error());
  if (!PathBinding::allows(path, inode->descriptor.get())) return std::unexpected(ErrorNumber::stale);
  const auto status = SystemCall::status(inode->descriptor.get());
  if (!status) return std::unexpected(status.error());
  if (S_ISDIR(status->st_mode)) return std::unexpected(ErrorNumber{EISDIR});
  if (!S_ISREG(status->st_mode)) return std::unexpected(ErrorNumber::notSupported);
  auto file = SystemCall::openAt(AT_FDCWD, SystemCall::pathOf(inode->descriptor.get()).c_str(), O_RDONLY);
  if (!file) return std::unexpected(file.error());
  return std::make_unique<NativeReader>(BackingFile::open(std::move(*file), place->folder()));
}

Result<std::unique_ptr<LockableFile>> NativeFileSystem::openForLocking(const FilePath& path) {
  const auto place = VolumePath::locate(path);
  if (!place) return std::unexpected(place.error());
  return NativeLock::open(*place, path);
}

Result<void> NativeFileSystem::rename(const FilePath& work, const FilePath& target, const FileStatus& expected,
                                      const LockableFile& lock) {
  const auto workPlace = locateForChange(work);
  if (!workPlace) return std::unexpected(workPlace.error());
  const auto targetPlace = locateForChange(target);
  if (!targetPlace) return std::unexpected(targetPlace.error());
  if (isForeignWorkFile(work)) return std::unexpected(ErrorNumber::busy);
  const auto placed = ReplacingRename::replace(*workPlace, *targetPlace, expected, lock, PathBinding::find(work));
  if (!placed) return std::unexpected(placed.error());
  PathBinding::unbind(work);
  if (PathBinding::find(target)) PathBinding::bind(target, *placed);
  return {};
}

Result<void> NativeFileSystem::unlink(const FilePath& path) {
  const auto place = locateForChange(path);
  if (!place) return std::unexpected(place.error());
  const auto bound = PathBinding::find(path);
  if (bound) {
    struct stat status{};
    const bool isThere = ::fstatat(place->folder(), place->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    PathBinding::unbind(path);
    WorkInProgress::end(*bound);
    if (isThere && InodeNumber::of(status) != *bound) return std::unexpected(ErrorNumber::stale);
  }
  return SystemCall::checked([&] { return ::unlinkat(place->folder(), place->name.c_str(), 0); });
}

}  // namespace quillbrook
