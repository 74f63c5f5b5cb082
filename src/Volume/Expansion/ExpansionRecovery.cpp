// SPDX-License-Identifier: MIT
#include "Volume/Expansion/ExpansionRecovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <stop_token>
#include <utility>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/FolderWalk.h"
#include "Volume/Expansion/PrivateFolder.h"
#include "Volume/Expansion/RedoRecord.h"

namespace quillbrook {
namespace {

struct Copy {
  std::uint32_t identifier = 0;
  RedoRecord record;
  bool isSettled = false;
  ErrorNumber reason = ErrorNumber::noEntry;  // why not
};

bool isTarget(const Copy& copy, const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_dev == copy.record.device && status.st_ino == copy.record.inode;
}

class Recovery {
 public:
  explicit Recovery(int source) : source_(source), path_(FolderPath::of(source).value_or(FilePath("."))) {}

  RecoveryOutcome run() {
    auto redo = PrivateFolder::openRedo(source_);
    if (!redo) {
      fail(redoPath(), redo.error());
      return outcome_;
    }
    redo_ = std::move(*redo);
    if (const auto listed = readCopies(); !listed) fail(redoPath(), listed.error());
    for (Copy& copy : copies_) {
      if (!copy.record.path.empty()) settle(source_, copy.record.path.c_str(), copy);
    }
    if (hasUnsettled()) search();
    for (const Copy& copy : copies_) {
      if (!copy.isSettled) fail(pathOf(copy), copy.reason);
    }
    return outcome_;
  }

 private:
  [[nodiscard]] FilePath redoPath() const {
    return path_.appending(VolumeProtocol::privateFolder).appending(VolumeProtocol::redoFolder);
  }
  [[nodiscard]] FilePath pathOf(const Copy& copy) const {
    return redoPath().appending(std::to_string(copy.identifier));
  }
  [[nodiscard]] bool hasUnsettled() const { return !std::ranges::all_of(copies_, &Copy::isSettled); }
  void fail(FilePath place, ErrorNumber reason) {
    outcome_.failures.push_back({.place = std::move(place), .reason = reason});
  }

  Result<void> readCopies() {
    auto listing = FolderListing::open(redo_.get());
    if (!listing) return std::unexpected(listing.error());
    for (;;) {
      const auto entry = listing->next();
      if (!entry) return std::unexpected(entry.error());
      if (!*entry) return {};
      const auto identifier = parsedNumber<std::uint32_t>((*entry)->name);
      if (!identifier || *identifier == 0) continue;
      ++outcome_.found;
      if (const auto read = readCopy({.identifier = *identifier, .record = {}}); !read) {
        fail(redoPath().appending((*entry)->name), read.error());
      }
    }
  }

  Result<void> readCopy(Copy copy) {
    const auto file =
        SystemCall::openAt(redo_.get(), std::to_string(copy.identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file) return std::unexpected(file.error());
    auto record = RedoRecord::read(file->get());
    // The record is the first thing that a copy gets: without one it was never named.
    if (!record && record.error() == ErrorNumber::attributeMissing) return remove(copy);
    if (!record) return std::unexpected(record.error());
    copy.record = std::move(*record);
    copies_.push_back(std::move(copy));
    return {};
  }

  Result<void> remove(Copy& copy) {
    const auto removed =
        SystemCall::checked([&] { return ::unlinkat(redo_.get(), std::to_string(copy.identifier).c_str(), 0); });
    if (removed) markSettled(copy);
    return removed;
  }

  void markSettled(Copy& copy) {
    copy.isSettled = true;
    ++outcome_.settled;
  }

  // If `folder`/`name` is the copy's target: completes its expansion, or removes a copy that its state does not name.
  void settle(int folder, const char* name, Copy& copy) {
    const auto done = [&]() -> Result<void> {
      const auto file = SystemCall::openAt(folder, name, O_RDWR | O_NOFOLLOW | O_NONBLOCK);
      if (!file) return std::unexpected(file.error());
      const auto status = SystemCall::status(file->get());
      if (!status) return std::unexpected(status.error());
      if (!isTarget(copy, *status)) return std::unexpected(ErrorNumber::noEntry);
      const auto state = StoredState::read(file->get());
      if (!state) return std::unexpected(state.error());
      if (*state && (*state)->redoIdentifier == copy.identifier) {
        const auto finished = Expansion::finish(source_, file->get(), **state);
        if (finished) markSettled(copy);
        return finished;
      }
      if (*state && (*state)->isSealed() && (*state)->redoIdentifier == 0 &&
          static_cast<std::uint64_t>(status->st_size) == (*state)->rawByteCount()) {
        Expansion::abandon(file->get(), **state, copy.record);
      }
      return remove(copy);
    }();
    if (!done) copy.reason = done.error();
  }

  void search() {
    std::stop_source allSettled;
    std::vector<RecoveryOutcome::Failure> unreadable;
    const FolderWalk::Visitor visitor{
        .onFile =
            [&](const WalkedFile& file) {
              for (Copy& copy : copies_) {
                if (!copy.isSettled && isTarget(copy, file.status)) settle(file.folder, file.name, copy);
              }
              if (!hasUnsettled()) allSettled.request_stop();
            },
        .onUnreadable = [&](const FilePath& path,
                            ErrorNumber reason) { unreadable.push_back({.place = path, .reason = reason}); }};
    if (FolderWalk::walk(source_, path_, visitor, allSettled.get_token())) {
      std::ranges::move(unreadable, std::back_inserter(outcome_.failures));
    }
  }

  int source_;
  FilePath path_;
  FileDescriptor redo_;
  std::vector<Copy> copies_;
  RecoveryOutcome outcome_;
};

}  // namespace

std::string sentence(const RecoveryOutcome& outcome) {
  if (outcome.failures.empty()) return {};
  std::string text = std::to_string(outcome.found - outcome.settled) + " of " + std::to_string(outcome.found) +
                     " files that were being turned back when an earlier run ended could not be completed. Nothing of "
                     "them is lost as long as the redo copies stay; put right what is told here and mount again, or "
                     "run `quillbrookctl volume restore`:";
  for (const RecoveryOutcome::Failure& failure : outcome.failures) {
    text += "\n  " + failure.place.displayText() + ": " +
            (failure.reason == ErrorNumber::noEntry ? "its file was not found" : failure.reason.text());
  }
  return text;
}

RecoveryOutcome ExpansionRecovery::run(int source) {
  return Recovery(source).run();
}

}  // namespace quillbrook
