// SPDX-License-Identifier: MIT
#include "Volume/Administration/RedoCopies.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook {
namespace {

// Creates nothing.
Result<FileDescriptor> openFolder(int source) {
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
  const auto parent = SystemCall::openAt(source, std::string(VolumeProtocol::privateFolder).c_str(), flags);
  if (!parent) return std::unexpected(parent.error());
  return SystemCall::openAt(parent->get(), std::string(VolumeProtocol::redoFolder).c_str(), flags);
}

}  // namespace

FilePath RedoCopies::path(const FilePath& source) {
  return source.appending(VolumeProtocol::privateFolder).appending(VolumeProtocol::redoFolder);
}

Result<std::vector<std::uint32_t>> RedoCopies::list(int source) {
  const auto folder = openFolder(source);
  std::vector<std::uint32_t> identifiers;
  if (!folder && folder.error() == ErrorNumber::noEntry) return identifiers;
  if (!folder) return std::unexpected(folder.error());
  auto listing = FolderListing::open(folder->get());
  if (!listing) return std::unexpected(listing.error());
  for (;;) {
    const auto entry = listing->next();
    if (!entry) return std::unexpected(entry.error());
    if (!*entry) return identifiers;
    if (const auto identifier = parsedNumber<std::uint32_t>((*entry)->name)) identifiers.push_back(*identifier);
  }
}

Result<std::optional<std::uint64_t>> RedoCopies::record(int source, std::uint32_t identifier) {
  const auto folder = openFolder(source);
  if (!folder) return std::unexpected(folder.error());
  const auto copy =
      SystemCall::openAt(folder->get(), std::to_string(identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!copy) return std::unexpected(copy.error());
  const auto record = RedoRecord::read(copy->get());
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
