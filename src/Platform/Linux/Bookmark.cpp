// SPDX-License-Identifier: MIT
#include "Platform/Bookmark.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Linux/FileHandle.h"
#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/HostIdentity.h"
#include "Platform/Linux/LocatedInode.h"
#include "Platform/Linux/MountPlace.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/TreeEnumerator.h"
#include "Platform/Linux/VolumePath.h"
#include "Platform/Linux/VolumeRegistry.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::Bookmark {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What a bookmark holds, in this order: mark, device, inode, birth (nanoseconds of `noBirth` if there is none), the
// lengths of handle and path, handle, path.
constexpr std::array<std::uint8_t, 4> mark{'Q', 'B', 'K', 1};
constexpr std::uint32_t noBirth = UINT32_MAX;

struct Content {
  HostIdentity identity;
  Bytes handle;
  FilePath path;
};

template <typename T>
void append(Bytes& bytes, T value) {
  bytes.resize(bytes.size() + sizeof value);
  LittleEndian::store(bytes.data() + bytes.size() - sizeof value, value);
}

// The next number of `bytes`, which must hold it.
template <typename T>
T take(std::span<const std::uint8_t>& bytes) {
  const T value = LittleEndian::load<T>(bytes.data());
  bytes = bytes.subspan(sizeof value);
  return value;
}

Bytes encode(const Content& content) {
  const auto& [identity, handle, path] = content;
  Bytes bytes(mark.begin(), mark.end());
  append(bytes, identity.deviceMajor);
  append(bytes, identity.deviceMinor);
  append(bytes, identity.inode);
  append(bytes, identity.birth ? static_cast<std::uint64_t>(identity.birth->seconds) : std::uint64_t{0});
  append(bytes, identity.birth ? identity.birth->nanoseconds : noBirth);
  append(bytes, static_cast<std::uint32_t>(handle.size()));
  append(bytes, static_cast<std::uint32_t>(path.bytes().size()));
  bytes.insert(bytes.end(), handle.begin(), handle.end());
  bytes.insert(bytes.end(), path.bytes().begin(), path.bytes().end());
  return bytes;
}

std::optional<Content> decode(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t headByteCount = mark.size() + 4 + 4 + 8 + 8 + 4 + 4 + 4;
  if (bytes.size() < headByteCount || !std::ranges::equal(bytes.first(mark.size()), mark)) return std::nullopt;
  bytes = bytes.subspan(mark.size());
  Content content;
  content.identity.deviceMajor = take<std::uint32_t>(bytes);
  content.identity.deviceMinor = take<std::uint32_t>(bytes);
  content.identity.inode = take<std::uint64_t>(bytes);
  const auto seconds = static_cast<std::int64_t>(take<std::uint64_t>(bytes));
  const auto nanoseconds = take<std::uint32_t>(bytes);
  if (nanoseconds != noBirth) content.identity.birth = Timestamp{.seconds = seconds, .nanoseconds = nanoseconds};
  const std::size_t handleByteCount = take<std::uint32_t>(bytes);
  const std::size_t pathByteCount = take<std::uint32_t>(bytes);
  if (bytes.size() != handleByteCount + pathByteCount || pathByteCount == 0) return std::nullopt;
  content.handle.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(handleByteCount));
  content.path = FilePath(std::string(bytes.begin() + static_cast<std::ptrdiff_t>(handleByteCount), bytes.end()));
  return content;
}

// What a program sees at the path: beneath the mount in a volume, where inodes keep their numbers, and for the volume's
// own folder its source.
Result<FileDescriptor> openHostInode(const FilePath& path) {
  auto inode = LocatedInode::open(path, FinalLink::noFollow);
  if (!inode) return std::unexpected(inode.error());
  const auto place = MountPlace::of(inode->descriptor.get());
  const auto volume = place ? VolumeRegistry::find(inode->descriptor.get(), place->mountIdentifier) : nullptr;
  if (!volume || !volume->source.isOpen() || volume->mountPoint != path.bytes()) return std::move(inode->descriptor);
  return SystemCall::openAt(volume->source.get(), ".", O_PATH | O_DIRECTORY);
}

Result<HostIdentity> identityAt(const FilePath& path) {
  const auto inode = openHostInode(path);
  if (!inode) return std::unexpected(inode.error());
  return HostIdentity::at(inode->get(), "");
}

bool leadsTo(const FilePath& path, const HostIdentity& identity) {
  const auto found = identityAt(path);
  return found && found->isSameInode(identity);
}

std::optional<FilePath> findInFolder(const Content& content) {
  const auto place = VolumePath::locate(content.path);
  auto listing = place ? FolderListing::open(place->folder()) : std::unexpected(place.error());
  if (!listing) return std::nullopt;
  for (;;) {
    const auto entry = listing->next();
    if (!entry || !*entry) return std::nullopt;
    if ((*entry)->inode != content.identity.inode) continue;
    const auto found = HostIdentity::at(place->folder(), (*entry)->name);
    if (found && found->isSameInode(content.identity)) return content.path.parent().appending((*entry)->name);
  }
}

// The nearest folder above the path that there still is, open for reading.
std::optional<FileDescriptor> openAncestor(const FilePath& path) {
  for (FilePath folder = path.parent();; folder = folder.parent()) {
    const auto place = VolumePath::locate(folder.appending(path.name()));
    auto opened =
        place ? SystemCall::openAt(place->folder(), ".", O_RDONLY | O_DIRECTORY) : std::unexpected(place.error());
    if (opened) return std::move(*opened);
    if (folder.bytes() == "/") return std::nullopt;
  }
}

// Below the folder, but not in `searched`.
std::optional<FilePath> findBelow(const FilePath& folder, const FilePath& searched, const HostIdentity& identity) {
  const auto walk = TreeEnumerator::open(folder, DirectoryEnumerator::Depth::recursive);
  if (!walk) return std::nullopt;
  while (const auto entry = (*walk)->next()) {
    if (entry->path == searched) (*walk)->skipDescendants();
    const auto status = (*walk)->hostStatus();
    if (status && status->st_ino == identity.inode && leadsTo(entry->path, identity)) return entry->path;
  }
  return std::nullopt;
}

// From where it was outwards, up to the end of that file system.
std::optional<FilePath> findByWalk(const Content& content) {
  FilePath folder = content.path.parent();
  while (!identityAt(folder) && folder.bytes() != "/") folder = folder.parent();
  const auto nearest = identityAt(folder);
  for (FilePath searched;; folder = folder.parent()) {
    const auto there = identityAt(folder);
    if (!nearest || !there || !there->isOnDeviceOf(*nearest)) return std::nullopt;
    if (auto found = findBelow(folder, searched, content.identity)) return found;
    if (folder.bytes() == "/") return std::nullopt;
    searched = folder;
  }
}

// Wherever it is on the file system that the path is on. Beneath a volume that is mounted in place paths are the same.
std::optional<FilePath> findByHandle(const Content& content) {
  const auto ancestor = openAncestor(content.path);
  const auto there = ancestor ? HostIdentity::at(ancestor->get(), "") : std::unexpected(ErrorNumber::noEntry);
  // A handle of one file system may by chance be another's too.
  if (!there || !there->isOnDeviceOf(content.identity)) return std::nullopt;
  const FileDescriptor file = FileHandle::open(ancestor->get(), content.handle);
  const auto status = file.isOpen() ? SystemCall::status(file.get()) : std::unexpected(ErrorNumber::noEntry);
  // One that is only held open has no name any more.
  if (!status || status->st_nlink == 0) return std::nullopt;
  const auto path = FolderPath::of(file.get());
  if (path && leadsTo(*path, content.identity)) return *path;
  // It is there, but the kernel has not come across its name yet: that has to be looked for.
  return findByWalk(content);
}

}  // namespace

Result<std::vector<std::uint8_t>> create(const FilePath& url) {
  if (!url.bytes().starts_with('/')) return std::unexpected(ErrorNumber::invalid);
  const auto inode = openHostInode(url);
  if (!inode) return std::unexpected(inode.error());
  const auto identity = HostIdentity::at(inode->get(), "");
  if (!identity) return std::unexpected(identity.error());
  return encode({.identity = *identity, .handle = FileHandle::of(inode->get()).value_or(Bytes()), .path = url});
}

Result<Resolved> resolve(std::span<const std::uint8_t> bookmark) {
  const auto content = decode(bookmark);
  if (!content) return std::unexpected(ErrorNumber::invalid);
  const auto found = identityAt(content->path);
  if (found) return Resolved{.url = content->path, .isStale = found->inode != content->identity.inode};
  const bool isGone = found.error() == ErrorNumber::noEntry || found.error() == ErrorNumber{ENOTDIR};
  if (!isGone) return std::unexpected(found.error());
  auto elsewhere = content->identity.birth ? findInFolder(*content) : std::nullopt;
  if (!elsewhere && content->identity.birth) elsewhere = findByHandle(*content);
  if (!elsewhere) return std::unexpected(ErrorNumber::noEntry);
  return Resolved{.url = *std::move(elsewhere), .isStale = true};
}

}  // namespace quillbrook::Bookmark
