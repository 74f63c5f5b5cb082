// SPDX-License-Identifier: MIT
#include "Platform/Linux/BackingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

BackingFile::BackingFile(FileDescriptor file, const std::optional<ContainerState>& state)
    : file_(std::move(file)), state_(state), source_(file_.get()) {}

Result<std::unique_ptr<const BackingFile>> BackingFile::open(FileDescriptor file, int folder) {
  auto state = StoredState::read(file.get());
  if (!state) return std::unexpected(state.error());
  std::unique_ptr<BackingFile> opened(new BackingFile(std::move(file), *state));
  if (opened->state_ && opened->state_->redoIdentifier != 0) {
    const auto status = SystemCall::status(opened->file_.get());
    if (!status) return std::unexpected(status.error());
    auto redo = RedoCopy::open(folder, *opened->state_, status->st_uid);
    if (!redo) return std::unexpected(redo.error());
    opened->redo_ = std::move(*redo);
  } else if (opened->state_ && opened->state_->isSealed()) {
    auto reader = ContainerReader::open(opened->source_, *opened->state_);
    if (!reader) return std::unexpected(reader.error());
    opened->reader_ = std::move(*reader);
  }
  return opened;
}

Result<std::uint64_t> BackingFile::byteCount() const {
  if (reader_) return reader_->logicalByteCount();
  if (!redo_.isOpen() && state_ && state_->isUnderConstruction()) return 0;
  const auto status = SystemCall::status(contentDescriptor());
  if (!status) return std::unexpected(status.error());
  return static_cast<std::uint64_t>(status->st_size);
}

Result<std::size_t> BackingFile::read(std::uint64_t offset, std::span<std::uint8_t> destination,
                                      ContainerReader::Scratch& scratch) const {
  if (reader_) return reader_->read(offset, destination, scratch);
  if (!redo_.isOpen() && state_ && state_->isUnderConstruction()) return 0;
  return DescriptorSource(contentDescriptor()).read(offset, destination);
}

namespace {

struct FoundCopy {
  FileDescriptor folder;  // that holds the private folder, with O_PATH
  FileDescriptor copy;
};

std::string redoName(const ContainerState& state) {
  return std::string(VolumeProtocol::privateFolder) + "/" + std::string(VolumeProtocol::redoFolder) + "/" +
         std::to_string(state.redoIdentifier);
}

Result<FoundCopy> findRedoCopy(int folder, const ContainerState& state, std::uint32_t owner) {
  const auto name = redoName(state);
  auto above = SystemCall::openAt(folder, ".", O_PATH | O_DIRECTORY);
  while (above) {
    auto copy = SystemCall::openAt(above->get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (copy) {
      const auto status = SystemCall::status(copy->get());
      if (!status) return std::unexpected(status.error());
      const bool isTrusted = status->st_uid == 0 || status->st_uid == ::geteuid() || status->st_uid == owner;
      const bool isWhole =
          S_ISREG(status->st_mode) && static_cast<std::uint64_t>(status->st_size) == state.logicalByteCount;
      if (!isTrusted || !isWhole) return std::unexpected(ErrorNumber::inputOutput);
      return FoundCopy{.folder = std::move(*above), .copy = std::move(*copy)};
    }
    if (copy.error().value != ENOENT && copy.error().value != ENOTDIR) return std::unexpected(copy.error());
    const auto here = SystemCall::status(above->get());
    auto parent = SystemCall::openAt(above->get(), "..", O_PATH | O_DIRECTORY);
    if (!here || !parent) break;
    const auto there = SystemCall::status(parent->get());
    if (!there || (there->st_dev == here->st_dev && there->st_ino == here->st_ino)) break;  // the root
    above = std::move(parent);
  }
  return std::unexpected(ErrorNumber::inputOutput);
}

}  // namespace

Result<FileDescriptor> RedoCopy::open(int folder, const ContainerState& state, std::uint32_t owner) {
  auto found = findRedoCopy(folder, state, owner);
  if (!found) return std::unexpected(found.error());
  return std::move(found->copy);
}

void RedoCopy::remove(int folder, const ContainerState& state, std::uint32_t owner) {
  const auto found = findRedoCopy(folder, state, owner);
  // One that stays is told by the check, and costs no more than its space.
  if (found) ::unlinkat(found->folder.get(), redoName(state).c_str(), 0);
}

}  // namespace quillbrook
