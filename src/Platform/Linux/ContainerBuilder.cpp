// SPDX-License-Identifier: MIT
#include "Platform/Linux/ContainerBuilder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ContainerSealer.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/ExtendedAttributes.h"
#include "Platform/Linux/KeptMetadata.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {
namespace {

constexpr std::uint64_t largestByteCount = std::numeric_limits<std::uint32_t>::max();

Result<void> truncate(int file, std::uint64_t byteCount) {
  return SystemCall::checked([&] { return ::ftruncate(file, static_cast<off_t>(byteCount)); });
}

// A work file open for writing.
class OpenWorkFile {
 public:
  static Result<OpenWorkFile> open(int inode) {
    auto file = SystemCall::asOwner(
        inode, [&] { return SystemCall::openAt(AT_FDCWD, SystemCall::pathOf(inode).c_str(), O_RDWR); });
    if (!file) return std::unexpected(file.error());
    OpenWorkFile opened;
    opened.file_ = std::move(*file);
    auto kept = KeptMetadata::of(opened.get());
    if (!kept) return std::unexpected(kept.error());
    opened.kept_ = std::move(*kept);
    return opened;
  }

  [[nodiscard]] int get() const { return file_.get(); }
  // What writing takes away.
  [[nodiscard]] const KeptMetadata& kept() const { return kept_; }
  [[nodiscard]] Result<void> writeState(const ContainerState& state) const {
    return SystemCall::asOwner(get(), [&] { return StoredState::write(get(), state); });
  }
  [[nodiscard]] Result<void> close() { return SystemCall::close(std::move(file_)); }

 private:
  FileDescriptor file_;
  KeptMetadata kept_;
};

class ForkWriter : public FileWriter {
 public:
  ForkWriter(OpenWorkFile file, const ContainerState& state) : file_(std::move(file)), state_(state) {}
  ~ForkWriter() override {
    // Whoever does not close it does not want to know.
    [[maybe_unused]] const auto closed = ForkWriter::close();
  }
  ForkWriter(const ForkWriter&) = delete;
  ForkWriter& operator=(const ForkWriter&) = delete;

  Result<std::size_t> write(std::span<const std::uint8_t> bytes) override {
    if (isClosed_) return std::unexpected(ErrorNumber{EBADF});
    const auto count = std::min<std::uint64_t>(bytes.size(), largestByteCount - position_);
    if (count == 0 && !bytes.empty()) return std::unexpected(ErrorNumber{EFBIG});
    const auto written = ::pwrite(file_.get(), bytes.data(), static_cast<std::size_t>(count),
                                  static_cast<off_t>(state_.valueByteCount + position_));
    if (written == -1) return SystemCall::failure();
    position_ += static_cast<std::uint64_t>(written);
    state_.forkByteCount = static_cast<std::uint32_t>(std::max<std::uint64_t>(state_.forkByteCount, position_));
    return static_cast<std::size_t>(written);
  }

  Result<std::uint64_t> lseek(std::uint64_t position) override {
    if (isClosed_) return std::unexpected(ErrorNumber{EBADF});
    if (position > largestByteCount) return std::unexpected(ErrorNumber::invalid);
    position_ = position;
    return position;
  }

  Result<void> fsetxattr(std::string_view name, std::span<const std::uint8_t> value) override {
    if (isClosed_) return std::unexpected(ErrorNumber{EBADF});
    return ExtendedAttributes::set(file_.get(), name, value);
  }

  Result<void> close() override {
    if (std::exchange(isClosed_, true)) return {};
    if (const auto restored = file_.kept().restorePermissions(file_.get()); !restored) return restored;
    if (const auto kept = file_.writeState(state_); !kept) return kept;
    return file_.close();
  }

 private:
  OpenWorkFile file_;
  ContainerState state_;
  std::uint64_t position_ = 0;
  bool isClosed_ = false;
};

}  // namespace

namespace ContainerBuilder {

Result<void> setValue(int inode, std::span<const std::uint8_t> value) {
  if (value.empty() || value.size() > largestByteCount) return std::unexpected(ErrorNumber::invalid);
  const auto known = StoredState::read(inode);
  if (!known) return std::unexpected(known.error());
  const auto file = OpenWorkFile::open(inode);
  if (!file) return std::unexpected(file.error());
  auto state = known->value_or(ContainerState{});
  const auto status = SystemCall::status(file->get());
  if (!status) return std::unexpected(status.error());
  const bool isNew = !state.isUnderConstruction() && status->st_size == 0;
  if (state.isSealed() || state.forkByteCount != 0 || (!isNew && !state.isUnderConstruction())) {
    return std::unexpected(ErrorNumber::invalid);
  }
  state.valueByteCount = static_cast<std::uint32_t>(value.size());
  state.head = {};
  std::ranges::copy(value.first(std::min(value.size(), state.head.size())), state.head.begin());
  // The state first: nobody may ever take the value for the content of an ordinary file.
  if (const auto kept = file->writeState(state); !kept) return kept;
  if (const auto emptied = truncate(file->get(), 0); !emptied) return emptied;
  if (const auto written = SystemCall::writeAll(file->get(), 0, value); !written) return written;
  return file->kept().restorePermissions(file->get());
}

Result<void> setFork(int inode, ContainerState state, std::span<const std::uint8_t> fork) {
  auto writer = openFork(inode, state);
  if (!writer) return std::unexpected(writer.error());
  while (!fork.empty()) {
    const auto written = (*writer)->write(fork);
    if (!written && written.error() == ErrorNumber::interrupted) continue;
    if (!written) return std::unexpected(written.error());
    fork = fork.subspan(*written);
  }
  return (*writer)->close();
}

Result<std::unique_ptr<FileWriter>> openFork(int inode, ContainerState state) {
  auto file = OpenWorkFile::open(inode);
  if (!file) return std::unexpected(file.error());
  if (state.forkByteCount != 0) {
    state.forkByteCount = 0;
    if (const auto kept = file->writeState(state); !kept) return std::unexpected(kept.error());
  }
  if (const auto emptied = truncate(file->get(), state.valueByteCount); !emptied) {
    return std::unexpected(emptied.error());
  }
  return std::make_unique<ForkWriter>(std::move(*file), state);
}

Result<void> seal(int inode, ContainerState state, std::uint32_t flags) {
  const auto* head = state.head.data();
  if (state.valueByteCount < DecmpfsHeader::byteCount ||
      LittleEndian::load<std::uint32_t>(head) != DecmpfsHeader::magic) {
    return std::unexpected(ErrorNumber::invalid);
  }
  state.st_flags = flags;
  state.logicalByteCount = LittleEndian::load<std::uint64_t>(head + 8);  // whatever the type, known or not
  if (state.logicalByteCount > ContainerState::largestLogicalByteCount) return std::unexpected(ErrorNumber::invalid);

  const auto file = OpenWorkFile::open(inode);
  if (!file) return std::unexpected(file.error());
  const auto behind = ContainerSealer::seal(DescriptorSource(file->get()), state);
  if (!behind) return std::unexpected(behind.error());
  const auto end = state.payloadByteCount();
  if (const auto written = SystemCall::writeAll(file->get(), end, *behind); !written) return written;
  if (const auto cut = truncate(file->get(), end + behind->size()); !cut) return cut;
  if (const auto restored = file->kept().restorePermissions(file->get()); !restored) return restored;
  if (const auto timed = file->kept().restoreTimes(file->get()); !timed) return timed;
  return file->writeState(state);
}

}  // namespace ContainerBuilder
}  // namespace quillbrook
