// SPDX-License-Identifier: MIT
#include "Volume/Administration/RedoCopies.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Administration/ParsedNumber.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook {
namespace {

// Creates nothing.
Result<FileDescriptor> openFolder(int source) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  const FileDescriptor parent(::openat(source, std::string(VolumeProtocol::privateFolder).c_str(), flags));
  if (!parent.isOpen()) return SystemCall::failure();
  FileDescriptor folder(::openat(parent.get(), std::string(VolumeProtocol::redoFolder).c_str(), flags));
  if (!folder.isOpen()) return SystemCall::failure();
  return folder;
}

}  // namespace

FilePath RedoCopies::path(const FilePath& source) {
  return source.appending(VolumeProtocol::privateFolder).appending(VolumeProtocol::redoFolder);
}

Result<std::vector<std::uint32_t>> RedoCopies::list(int source) {
  auto folder = openFolder(source);
  std::vector<std::uint32_t> identifiers;
  if (!folder && folder.error() == ErrorNumber::noEntry) return identifiers;
  if (!folder) return std::unexpected(folder.error());
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::fdopendir(folder->get()));
  if (!stream) return SystemCall::failure();
  (void)folder->release();  // the stream's now
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr && errno != 0) return SystemCall::failure();
    if (entry == nullptr) return identifiers;
    if (const auto identifier = parsedNumber<std::uint32_t>(entry->d_name)) identifiers.push_back(*identifier);
  }
}

Result<std::optional<std::uint64_t>> RedoCopies::record(int source, std::uint32_t identifier) {
  const auto folder = openFolder(source);
  if (!folder) return std::unexpected(folder.error());
  const FileDescriptor copy(
      ::openat(folder->get(), std::to_string(identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!copy.isOpen()) return SystemCall::failure();
  const auto record = RedoRecord::read(copy.get());
  if (record) return record->inode;
  // The record is the first thing that a copy gets.
  if (record.error() == ErrorNumber::attributeMissing) return std::nullopt;
  return std::unexpected(record.error());
}

Result<void> RedoCopies::remove(int source, std::uint32_t identifier) {
  const auto folder = openFolder(source);
  if (!folder) return std::unexpected(folder.error());
  return SystemCall::checked([&] { return ::unlinkat(folder->get(), std::to_string(identifier).c_str(), 0); });
}

}  // namespace quillbrook
