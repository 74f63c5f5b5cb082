// SPDX-License-Identifier: MIT
#include "Volume/Expansion/Expansion.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "Container/ContainerReader.h"
#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/RedoRecord.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Expansion/SparseCopy.h"

namespace quillbrook::Expansion {

namespace {

Result<void> sync(int descriptor) {
  return SystemCall::checked([&] { return fsync(descriptor); });
}

// A redo copy being made: removed again unless it is kept.
class NewCopy {
 public:
  NewCopy(int folder, std::uint32_t identifier, FileDescriptor file)
      : folder_(folder), identifier_(identifier), file_(std::move(file)) {}
  NewCopy(NewCopy&& other) noexcept
      : folder_(std::exchange(other.folder_, -1)), identifier_(other.identifier_), file_(std::move(other.file_)) {}
  NewCopy& operator=(NewCopy&&) = delete;
  NewCopy(const NewCopy&) = delete;
  NewCopy& operator=(const NewCopy&) = delete;
  ~NewCopy() {
    if (folder_ >= 0) unlinkat(folder_, std::to_string(identifier_).c_str(), 0);
  }
  [[nodiscard]] int get() const { return file_.get(); }
  [[nodiscard]] std::uint32_t identifier() const { return identifier_; }
  void keep() { folder_ = -1; }

 private:
  int folder_;
  std::uint32_t identifier_;
  FileDescriptor file_;
};

Result<NewCopy> createCopy(int folder) {
  while (true) {
    std::uint32_t identifier = 0;
    // So few bytes come all at once or not at all.
    if (SystemCall::retrying([&] { return getrandom(&identifier, sizeof identifier, 0); }) < 0) {
      return SystemCall::failure();
    }
    if (identifier == 0) continue;
    auto file = SystemCall::openAt(folder, std::to_string(identifier).c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
    if (file) return NewCopy(folder, identifier, std::move(*file));
    if (file.error() != ErrorNumber::exists) return std::unexpected(file.error());
  }
}

// What is left of a state when its container is gone: the flags and the creation time that the file carries.
Result<void> leaveOrdinary(int file, const ContainerState& state) {
  const ContainerState carried{.st_flags = state.st_flags & ~UF_COMPRESSED, .creationTime = state.creationTime};
  return carried == ContainerState{} ? StoredState::remove(file) : StoredState::write(file, carried);
}

// From the moment on when the state names the copy.
Result<void> complete(int folder, int file, int copy, const RedoRecord& record, const ContainerState& state) {
  const auto steps = [&]() -> Result<void> {
    if (const auto done = SparseCopy::rewrite(file, copy, state.logicalByteCount); !done) return done;
    if (const auto done = record.restore(file); !done) return done;
    if (const auto done = sync(file); !done) return done;
    if (const auto done = leaveOrdinary(file, state); !done) return done;
    return sync(file);  // before the copy goes: a state on disk must never name a copy that is gone
  };
  if (const auto done = steps(); !done) return done;
  return SystemCall::checked([&] { return unlinkat(folder, std::to_string(state.redoIdentifier).c_str(), 0); });
}

// The state names the copy from here on, on the disk as well; if not, it is as it was.
Result<void> nameCopy(int file, const ContainerState& before, const ContainerState& naming) {
  auto done = StoredState::write(file, naming);
  if (done) done = sync(file);
  if (!done && StoredState::write(file, before)) {
    // What was to be told has failed before.
    [[maybe_unused]] const auto synced = sync(file);
  }
  return done;
}

}  // namespace

Result<void> expand(int source, int file, const ContainerState& state, const std::stop_token& stop) {
  const auto status = SystemCall::status(file);
  if (!status) return std::unexpected(status.error());
  if (static_cast<std::uint64_t>(status->st_size) != state.rawByteCount()) {
    return std::unexpected(ErrorNumber::inputOutput);
  }
  // Before the container is read, which moves the access time.
  const auto record = RedoRecord::of(source, file);
  if (!record) return std::unexpected(record.error());
  const DescriptorSource bytes(file);
  const auto reader = ContainerReader::open(bytes, state);
  if (!reader) return std::unexpected(reader.error());

  const auto folder = PrivateFolder::openRedo(source);
  if (!folder) return std::unexpected(folder.error());
  auto copy = createCopy(folder->get());
  if (!copy) return std::unexpected(copy.error());
  if (const auto done = SparseCopy::decode(**reader, copy->get(), stop); !done) return done;
  // Last, so that a copy which was never complete is known by having none.
  if (const auto done = record->write(copy->get()); !done) return done;
  if (const auto done = sync(copy->get()); !done) return done;
  if (const auto done = sync(folder->get()); !done) return done;
  if (stop.stop_requested()) return std::unexpected(ErrorNumber::cancelled);
  if (const auto done = SparseCopy::reserve(file, copy->get(), state.logicalByteCount); !done) {
    abandon(file, state, *record);
    return done;
  }
  ContainerState naming = state;
  naming.redoIdentifier = copy->identifier();
  if (const auto done = nameCopy(file, state, naming); !done) {
    // If the state could not be put back either, it may name the copy: then it stays.
    const auto stored = StoredState::read(file);
    if (!stored || !*stored || (*stored)->redoIdentifier != 0) copy->keep();
    abandon(file, state, *record);
    return done;
  }
  copy->keep();
  return complete(folder->get(), file, copy->get(), *record, naming);
}

Result<void> expandToNothing(int file, const ContainerState& state) {
  // A container under construction reads as an empty file, so at no moment is the payload seen as the content.
  const ContainerState emptied{.st_flags = state.st_flags & ~UF_COMPRESSED,
                               .valueByteCount = std::max(state.valueByteCount, 1U),
                               .creationTime = state.creationTime};
  if (const auto done = StoredState::write(file, emptied); !done) return done;
  if (const auto done = SystemCall::checked([&] { return ftruncate(file, 0); }); !done) return done;
  return leaveOrdinary(file, state);
}

void abandon(int file, const ContainerState& state, const RedoRecord& record) {
  // A truncation to the length that it has gives back what lies behind it.
  if (ftruncate(file, static_cast<off_t>(state.rawByteCount())) != 0) return;
  // Wrong times are all that a failure leaves, and the caller has another one to tell.
  [[maybe_unused]] const auto restored = record.restore(file);
}

Result<void> finish(int source, int file, const ContainerState& state) {
  const auto folder = PrivateFolder::openRedo(source);
  if (!folder) return std::unexpected(folder.error());
  const auto copy = SystemCall::openAt(folder->get(), std::to_string(state.redoIdentifier).c_str(),
                                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!copy && copy.error() == ErrorNumber::noEntry) return std::unexpected(ErrorNumber::inputOutput);
  if (!copy) return std::unexpected(copy.error());
  const auto status = SystemCall::status(copy->get());
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode) || static_cast<std::uint64_t>(status->st_size) != state.logicalByteCount) {
    return std::unexpected(ErrorNumber::inputOutput);
  }
  const auto record = RedoRecord::read(copy->get());
  if (!record) return std::unexpected(record.error());
  // A state that somebody made up must not bring another file's content here.
  const auto target = SystemCall::status(file);
  if (!target) return std::unexpected(target.error());
  if (record->inode != target->st_ino) return std::unexpected(ErrorNumber::inputOutput);
  return complete(folder->get(), file, copy->get(), *record, state);
}

}  // namespace quillbrook::Expansion
