// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeRestore.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/types.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/OwnedFile.h"
#include "Volume/Administration/RedoCopies.h"
#include "Volume/Administration/RestoredFile.h"
#include "Volume/Expansion/FolderWalk.h"
#include "Volume/Expansion/SourceLock.h"

namespace quillbrook {
namespace {

// The folder, without a mount over it, in it or around it, and with nobody who writes there.
std::expected<FileDescriptor, VolumeError> admit(const FilePath& folder) {
  const auto cleared = MountDetach::clearStale(folder);
  if (!cleared) return std::unexpected(cleared.error());
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  if (MountedVolumes::at(*volumes, folder) != nullptr) return std::unexpected(VolumeErrors::Served{folder});
  if (const auto apart = MountPolicy::checkNesting(folder, *volumes); !apart) return std::unexpected(apart.error());
  auto source = SystemCall::openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (!source) return std::unexpected(VolumeErrors::NotAFolder{folder, source.error()});
  auto users = FolderUsers::find(folder);
  if (!users) return systemFailure("look for users of", folder, users.error());
  if (std::ranges::any_of(*users, &FolderUser::writes))
    return MountPolicy::writersIn(folder, std::move(*users), *cleared);
  return std::move(*source);
}

class Restore {
 public:
  Restore(const FilePath& folder, int source, SourceLock lock, const std::function<void(const RestoreEvent&)>& onEvent,
          std::stop_token stop)
      : source_(source), lock_(std::move(lock)), onEvent_(onEvent), stop_(std::move(stop)) {
    result_.folder = folder;
  }

  std::expected<RestoreResult, VolumeError> run() {
    if (const auto known = readCopies(); !known) return std::unexpected(known.error());
    const FolderWalk::Visitor visitor{
        .onFile = [this](const WalkedFile& file) { visit(file); },
        .onUnreadable =
            [this](const FilePath& path, ErrorNumber reason) {
              isSure_ = false;
              fail(path,
                   fmt::format("It could not be looked at; put right what the system says and run this again: {}.",
                               reason.text()));
            }};
    if (!FolderWalk::walk(source_, result_.folder, visitor, stop_)) return std::unexpected(VolumeErrors::Stopped{});
    clearCopies();
    lock_.removePrivateFolder();
    return result_;
  }

 private:
  // A redo copy that was there at the beginning.
  struct Copy {
    std::optional<ino_t> inode;  // of the file that it was made for; nothing: it was never finished, no state names it
    bool isKept = false;         // some state names it, its file differs from it, or nothing can be said of it
  };
  // The file that a copy was made for.
  struct Awaited {
    enum class Fate { notMet, whole, doubtful };
    std::uint32_t identifier = 0;  // one of its copies
    Fate fate = Fate::notMet;
  };

  std::expected<void, VolumeError> readCopies() {
    const auto identifiers = RedoCopies::list(source_);
    if (!identifiers) return systemFailure("read", PrivateFolder::redoPath(result_.folder), identifiers.error());
    for (const std::uint32_t identifier : *identifiers) {
      const auto record = RedoCopies::record(source_, identifier);
      if (!record) {
        copies_[identifier].isKept = true;
        fail(pathOf(identifier), fmt::format("It may be a file's only content, and was left as it is, since it could "
                                             "not be told which file's: {}.",
                                             record.error().text()));
        continue;
      }
      copies_[identifier] = {.inode = *record};
      if (*record) awaited_[**record] = {.identifier = identifier};
    }
    return {};
  }

  void visit(const WalkedFile& file) {
    // Another name of one that failed would tell the same again; one that was restored is ordinary by now.
    if (file.status.st_nlink > 1 && failedLinks_.contains(file.status.st_ino)) return;
    const auto restored = RestoredFile::restore(source_, lock_.privateFolder(), file, stop_);
    const auto awaited = awaited_.find(file.status.st_ino);
    if (!restored) {
      isSure_ = false;
      const RestoredFile::Failure& failure = restored.error();
      if (failure.redoIdentifier != 0) copies_[failure.redoIdentifier].isKept = true;
      if (failure.isGone) return;
      std::string detail = failure.detail;
      if (awaited != awaited_.end()) {
        awaited->second.fate = Awaited::Fate::doubtful;
        detail += fmt::format(" A copy of its content was kept: {}.", pathOf(awaited->second.identifier).displayText());
      }
      if (file.status.st_nlink > 1) failedLinks_.insert(file.status.st_ino);
      fail(file.path, std::move(detail), beside(file.path, failure.appended));
      return;
    }
    if (awaited != awaited_.end() && awaited->second.fate == Awaited::Fate::notMet) {
      awaited->second.fate = Awaited::Fate::whole;
      // What had been compressed was verified; an ordinary file may be half rewritten and have lost its state.
      if (restored->outcome == RestoredFile::Outcome::ordinary) compareWithCopies(file);
    }
    const bool isRestored = restored->outcome == RestoredFile::Outcome::restored;
    if (!isRestored && !restored->appended) return;
    result_.restored += isRestored ? 1 : 0;
    onEvent_({.path = file.path,
              .outcome = isRestored ? RestoreEvent::Outcome::restored : RestoreEvent::Outcome::stopped,
              .appended = beside(file.path, restored->appended),
              .detail = {}});
  }

  void compareWithCopies(const WalkedFile& file) {
    for (auto& [identifier, copy] : copies_) {
      if (copy.inode != file.status.st_ino) continue;
      const auto opened = OwnedFile::open(file.folder, file.name, O_RDONLY);
      const Result<bool> isHeld = opened ? RedoCopies::isHeldBy(opened->get(), source_, identifier)
                                         : Result<bool>(std::unexpected(opened.error()));
      if (isHeld && *isHeld) continue;
      copy.isKept = true;
      const std::string kept = pathOf(identifier).displayText();
      if (isHeld) {
        fail(file.path, fmt::format("It differs from the copy of its content that was kept when it was turned back. "
                                    "Compare the two, put the right content in its place, and remove the copy: {}.",
                                    kept));
      } else {
        fail(file.path, fmt::format("It could not be compared with the copy of its content, which was kept ({}): {}.",
                                    kept, isHeld.error().text()));
      }
    }
  }

  [[nodiscard]] FilePath pathOf(std::uint32_t identifier) const {
    return PrivateFolder::redoPath(result_.folder).appending(std::to_string(identifier));
  }

  static std::optional<FilePath> beside(const FilePath& path, const std::optional<std::string>& name) {
    if (!name) return std::nullopt;
    return path.parent().appending(*name);
  }

  void fail(const FilePath& path, std::string detail, std::optional<FilePath> appended = std::nullopt) {
    ++result_.failed;
    onEvent_({.path = path,
              .outcome = RestoreEvent::Outcome::failed,
              .appended = std::move(appended),
              .detail = std::move(detail)});
  }

  // A copy goes when no state can name it: it was never finished, or its file was met and has its content, and there
  // is no file whose state could not be read. Any other may be all that there is of its file.
  void clearCopies() {
    for (const auto& [identifier, copy] : copies_) {
      if (copy.isKept) continue;
      if (copy.inode) {
        const Awaited::Fate fate = awaited_.at(*copy.inode).fate;
        if (fate == Awaited::Fate::notMet) {
          fail(pathOf(identifier),
               "It is the content of a file that was not found in the folder. If the file was moved away, move it back "
               "and run this again; remove this copy only if you do not miss the file.");
        }
        if (fate != Awaited::Fate::whole || !isSure_) continue;
      }
      const auto removed = RedoCopies::remove(source_, identifier);
      if (!removed && removed.error() != ErrorNumber::noEntry) {
        fail(pathOf(identifier), fmt::format("It is not needed any more and could not be removed; another run tries "
                                             "again: {}.",
                                             removed.error().text()));
      }
    }
  }

  int source_;
  SourceLock lock_;
  const std::function<void(const RestoreEvent&)>& onEvent_;
  std::stop_token stop_;
  RestoreResult result_;
  bool isSure_ = true;                              // every folder and every file could be dealt with
  std::unordered_map<std::uint32_t, Copy> copies_;  // by their numbers
  std::unordered_map<ino_t, Awaited> awaited_;
  std::unordered_set<ino_t> failedLinks_;
};

}  // namespace

std::expected<RestoreResult, VolumeError> VolumeRestore::restore(
    const FilePath& folder, const std::function<void(const RestoreEvent&)>& onEvent, std::stop_token stop) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  const auto source = admit(*resolved);
  if (!source) return std::unexpected(source.error());
  auto lock = SourceLock::acquire(source->get());
  if (!lock && lock.error() == ErrorNumber::wouldBlock) return std::unexpected(VolumeErrors::Ending{*resolved});
  if (!lock && !PrivateFolder::exists(source->get())) {
    return systemFailure("make the volume's own folder in", *resolved, lock.error());
  }
  if (!lock && (lock.error() == ErrorNumber::notPermitted || lock.error() == ErrorNumber::accessDenied)) {
    return std::unexpected(VolumeErrors::ForeignPrivateFolder{*resolved});
  }
  if (!lock) return systemFailure("lock", *resolved, lock.error());
  return Restore(*resolved, source->get(), std::move(*lock), onEvent, std::move(stop)).run();
}

}  // namespace quillbrook
