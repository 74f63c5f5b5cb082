// SPDX-License-Identifier: MIT
#include "Platform/Linux/BackingFile.h"

#include <sys/stat.h>

#include <utility>

#include "Platform/Linux/RedoCopy.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"

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
    auto redo = RedoCopy::open(folder, *opened->state_, {.inode = status->st_ino, .owner = status->st_uid});
    if (!redo) return std::unexpected(opened->reason(redo.error()));
    opened->redo_ = std::move(*redo);
  } else if (opened->state_ && opened->state_->isSealed()) {
    auto reader = ContainerReader::open(opened->source_, *opened->state_);
    if (!reader) return std::unexpected(opened->reason(reader.error()));
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
  if (reader_) {
    const auto count = reader_->read(offset, destination, scratch);
    return count ? count : std::unexpected(reason(count.error()));
  }
  if (!redo_.isOpen() && state_ && state_->isUnderConstruction()) return 0;
  return DescriptorSource(contentDescriptor()).read(offset, destination);
}

// What looks like damage to whoever reads past the daemon may be the bytes of a file that is being turned back: its
// state changes before they do.
ErrorNumber BackingFile::reason(ErrorNumber error) const {
  if (error != ErrorNumber::inputOutput) return error;
  const auto state = StoredState::read(file_.get());
  return state && *state != state_ ? ErrorNumber::stale : error;
}

}  // namespace quillbrook
