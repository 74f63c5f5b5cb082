// SPDX-License-Identifier: MIT
#include "Volume/Administration/RedoCopies.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/RedoRecord.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Expansion/SameContent.h"

namespace quillbrook {
namespace {

Result<FileDescriptor> openCopy(int source, std::uint32_t identifier) {
  const auto folder = PrivateFolder::findRedo(source);
  if (!folder) return std::unexpected(folder.error());
  return SystemCall::openAt(folder->get(), std::to_string(identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
}

}  // namespace

Result<std::vector<std::uint32_t>> RedoCopies::list(int source) {
  const auto folder = PrivateFolder::findRedo(source);
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
  const auto copy = openCopy(source, identifier);
  if (!copy) return std::unexpected(copy.error());
  const auto record = RedoRecord::read(copy->get());
  if (record) return record->inode;
  // The record is the last thing that a copy gets.
  if (record.error() == ErrorNumber::attributeMissing) return std::nullopt;
  return std::unexpected(record.error());
}

Result<bool> RedoCopies::isHeldBy(int file, int source, std::uint32_t identifier) {
  const auto copy = openCopy(source, identifier);
  if (!copy && copy.error() == ErrorNumber::noEntry) return true;
  if (!copy) return std::unexpected(copy.error());
  return haveSameContent(file, copy->get());
}

Result<void> RedoCopies::remove(int source, std::uint32_t identifier) {
  const auto folder = PrivateFolder::findRedo(source);
  if (!folder) return std::unexpected(folder.error());
  return SystemCall::checked([&] { return ::unlinkat(folder->get(), std::to_string(identifier).c_str(), 0); });
}

}  // namespace quillbrook
