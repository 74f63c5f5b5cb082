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
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/RedoRecord.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Expansion/Expansion.h"
#include "Volume/Expansion/FolderWalk.h"
#include "Volume/Expansion/SameContent.h"

namespace quillbrook {
namespace {

struct Copy {
  std::uint32_t identifier = 0;
  RedoRecord record;
  bool isSettled = false;
  ErrorNumber reason = ErrorNumber::noEntry;  // why not
  std::optional<FilePath> differing;          // its file, if that holds something else
};

class Recovery {
 public:
  explicit Recovery(int source) : source_(source), path_(FolderPath::of(source).value_or(FilePath("."))) {}

  RecoveryOutcome run() {
    const auto source = SystemCall::status(source_);
    if (!source) {
      fail(path_, source.error());
      return outcome_;
    }
    device_ = source->st_dev;
    auto redo = PrivateFolder::openRedo(source_);
    if (!redo) {
      fail(redoPath(), redo.error());
      return outcome_;
    }
    redo_ = std::move(*redo);
    if (const auto listed = readCopies(); !listed) fail(redoPath(), listed.error());
    for (Copy& copy : copies_) {
      const std::string& path = copy.record.path;
      if (!path.empty()) settle(source_, path.c_str(), path_.appending(path), copy);
    }
    if (hasSought()) search();
    for (const Copy& copy : copies_) {
      if (!copy.isSettled) fail(pathOf(copy), copy.reason, copy.differing);
    }
    return outcome_;
  }

 private:
  [[nodiscard]] FilePath redoPath() const { return PrivateFolder::redoPath(path_); }
  [[nodiscard]] FilePath pathOf(const Copy& copy) const {
    return redoPath().appending(std::to_string(copy.identifier));
  }
  // By its number on the source's file system; devices are numbered anew with each mount.
  [[nodiscard]] bool isTarget(const Copy& copy, const struct stat& status) const {
    return S_ISREG(status.st_mode) && status.st_dev == device_ && status.st_ino == copy.record.inode;
  }
  static bool isSought(const Copy& copy) { return !copy.isSettled && !copy.differing; }
  [[nodiscard]] bool hasSought() const { return std::ranges::any_of(copies_, isSought); }
  void fail(FilePath place, ErrorNumber reason, std::optional<FilePath> file = {}) {
    outcome_.failures.push_back({.place = std::move(place), .reason = reason, .file = std::move(file)});
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
      if (const auto read = readCopy({.identifier = *identifier, .record = {}, .differing = {}}); !read) {
        fail(redoPath().appending((*entry)->name), read.error());
      }
    }
  }

  Result<void> readCopy(Copy copy) {
    const auto file =
        SystemCall::openAt(redo_.get(), std::to_string(copy.identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file) return std::unexpected(file.error());
    auto record = RedoRecord::read(file->get());
    // The record is the last thing that a copy gets: without one it was never named.
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

  // If `folder`/`name` is the copy's target: completes its expansion, or removes a copy that it does not need.
  void settle(int folder, const char* name, const FilePath& path, Copy& copy) {
    const auto done = [&]() -> Result<void> {
      const auto file = SystemCall::openBeneath(folder, name, O_RDWR | O_NONBLOCK);
      if (!file) return std::unexpected(file.error());
      const auto status = SystemCall::status(file->get());
      if (!status) return std::unexpected(status.error());
      if (!isTarget(copy, *status)) return std::unexpected(ErrorNumber::noEntry);
      const auto state = StoredState::read(file->get());
      if (!state) return std::unexpected(state.error());
      if (*state && (*state)->redoIdentifier != 0) {
        if (const auto finished = Expansion::finish(source_, file->get(), **state); !finished) return finished;
        if ((*state)->redoIdentifier == copy.identifier) {
          markSettled(copy);
          return {};
        }
      } else if (*state && (*state)->isSealed() &&
                 static_cast<std::uint64_t>(status->st_size) >= (*state)->rawByteCount()) {
        // The container is all there; had rewriting it begun, its state would name the copy.
        if (static_cast<std::uint64_t>(status->st_size) == (*state)->rawByteCount()) {
          Expansion::abandon(file->get(), **state, copy.record);
        }
        return remove(copy);
      }
      return removeIfHeld(copy, file->get(), path);
    }();
    if (!done) copy.reason = done.error();
  }

  Result<void> removeIfHeld(Copy& copy, int file, const FilePath& path) {
    const auto held =
        SystemCall::openAt(redo_.get(), std::to_string(copy.identifier).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!held) return std::unexpected(held.error());
    const auto isSame = haveSameContent(file, held->get());
    if (!isSame) return std::unexpected(isSame.error());
    if (*isSame) return remove(copy);
    copy.differing = path;
    return {};
  }

  void search() {
    std::stop_source allSettled;
    std::vector<RecoveryOutcome::Failure> unreadable;
    const auto onFile = [&](const WalkedFile& file) {
      for (Copy& copy : copies_) {
        if (isSought(copy) && isTarget(copy, file.status)) settle(file.folder, file.name, file.path, copy);
      }
      if (!hasSought()) allSettled.request_stop();
    };
    const auto onUnreadable = [&](const FilePath& path, ErrorNumber reason) {
      unreadable.push_back({.place = path, .reason = reason, .file = {}});
    };
    const FolderWalk::Visitor visitor{.onFile = onFile, .onUnreadable = onUnreadable};
    if (FolderWalk::walk(source_, path_, visitor, allSettled.get_token())) {
      std::ranges::move(unreadable, std::back_inserter(outcome_.failures));
    }
  }

  int source_;
  FilePath path_;
  std::uint64_t device_ = 0;
  FileDescriptor redo_;
  std::vector<Copy> copies_;
  RecoveryOutcome outcome_;
};

std::string reason(const RecoveryOutcome::Failure& failure) {
  if (failure.file) {
    return "its file holds something else: " + failure.file->displayText() +
           ". Compare the two, put the right content there, and remove the copy";
  }
  return failure.reason == ErrorNumber::noEntry ? "its file was not found" : failure.reason.text();
}

}  // namespace

std::string sentence(const RecoveryOutcome& outcome) {
  if (outcome.failures.empty()) return {};
  std::string text = std::to_string(outcome.found - outcome.settled) + " of " + std::to_string(outcome.found) +
                     " files that were being turned back when an earlier run ended could not be completed. Nothing of "
                     "them is lost as long as the redo copies stay; put right what is told here and mount again, or "
                     "run `quillbrookctl volume restore`:";
  for (const RecoveryOutcome::Failure& failure : outcome.failures) {
    text += "\n  " + failure.place.displayText() + ": " + reason(failure);
  }
  return text;
}

RecoveryOutcome ExpansionRecovery::run(int source) {
  return Recovery(source).run();
}

}  // namespace quillbrook
