// SPDX-License-Identifier: MIT
#include "Platform/Linux/RedoCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/RedoRecord.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook::RedoCopy {
namespace {

struct FoundCopy {
  FileDescriptor folder;  // of redo copies
  FileDescriptor copy;
};

Result<FileDescriptor> trusted(Result<FileDescriptor> opened, NamingFile file) {
  if (!opened) return opened;
  const auto status = SystemCall::status(opened->get());
  if (!status) return std::unexpected(status.error());
  const bool isTrusted = status->st_uid == 0 || status->st_uid == ::geteuid() || status->st_uid == file.owner;
  if (!isTrusted) return std::unexpected(ErrorNumber::inputOutput);
  return opened;
}

// In the private folder of `above`, if that has one.
Result<FoundCopy> findIn(int above, const ContainerState& state, NamingFile file) {
  const auto outer = trusted(PrivateFolder::find(above), file);
  if (!outer) return std::unexpected(outer.error());
  auto folder = trusted(PrivateFolder::findRedoIn(outer->get()), file);
  if (!folder) return std::unexpected(folder.error());
  const auto name = std::to_string(state.redoIdentifier);
  auto copy = trusted(SystemCall::openAt(folder->get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK), file);
  if (!copy) return std::unexpected(copy.error());
  const auto status = SystemCall::status(copy->get());
  if (!status) return std::unexpected(status.error());
  const bool isWhole =
      S_ISREG(status->st_mode) && static_cast<std::uint64_t>(status->st_size) == state.logicalByteCount;
  const auto record = RedoRecord::read(copy->get());
  if (!isWhole || !record || record->inode != file.inode) return std::unexpected(ErrorNumber::inputOutput);
  return FoundCopy{.folder = std::move(*folder), .copy = std::move(*copy)};
}

Result<FoundCopy> find(int folder, const ContainerState& state, NamingFile file) {
  auto above = SystemCall::openAt(folder, ".", O_PATH | O_DIRECTORY);
  while (above) {
    auto found = findIn(above->get(), state, file);
    if (found || (found.error().value != ENOENT && found.error().value != ENOTDIR)) return found;
    above = FolderPath::openAbove(above->get());
  }
  return std::unexpected(ErrorNumber::inputOutput);
}

}  // namespace

Result<FileDescriptor> open(int folder, const ContainerState& state, NamingFile file) {
  auto found = find(folder, state, file);
  if (!found) return std::unexpected(found.error());
  return std::move(found->copy);
}

void remove(int folder, const ContainerState& state, NamingFile file) {
  const auto found = find(folder, state, file);
  // One that stays is told by the check, and costs no more than its space.
  if (found) ::unlinkat(found->folder.get(), std::to_string(state.redoIdentifier).c_str(), 0);
}

}  // namespace quillbrook::RedoCopy
