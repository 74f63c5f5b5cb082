// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeRestore.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/types.h>

#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/FolderUsers.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/RedoCopies.h"
#include "Volume/Administration/RestoredFile.h"
#include "Volume/Expansion/FolderWalk.h"
#include "Volume/Expansion/SourceLock.h"

namespace quillbrook {
namespace {

// Without a mount over it, in it or around it, and with nobody who writes there.
std::expected<void, VolumeError> admit(const FilePath& folder) {
  if (const auto cleared = MountDetach::clearStale(folder); !cleared) return std::unexpected(cleared.error());
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  if (MountedVolumes::at(*volumes, folder) != nullptr) return std::unexpected(VolumeErrors::Served{folder});
  if (auto apart = MountPolicy::checkNesting(folder, *volumes); !apart) return apart;
  auto users = FolderUsers::find(folder);
  if (!users) return systemFailure("look for users of", folder, users.error());
  std::erase_if(*users, [](const FolderUser& user) { return !user.writes; });
  if (!users->empty()) return std::unexpected(VolumeErrors::InUse{folder, std::move(*users)});
  return {};
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
              isWhole_ = false;
              fail(path, fmt::format("It could not be looked at; see to that and run this again: {}.", reason.text()));
            }};
    if (!FolderWalk::walk(source_, result_.folder, visitor, stop_)) return std::unexpected(VolumeErrors::Stopped{});
    clearCopies();
    lock_.removePrivateFolder();
    return result_;
  }

 private:
  // A redo copy that was there at the beginning, and what is known of the file that it was made for.
  struct Copy {
    std::optional<ino_t> inode;  // nothing: it was never finished, so no state can name it
    bool isKept = false;         // some state names it, or nothing can be said of it
  };

  std::expected<void, VolumeError> readCopies() {
    const auto identifiers = RedoCopies::list(source_);
    const FilePath folder = RedoCopies::path(result_.folder);
    if (!identifiers) return systemFailure("read", folder, identifiers.error());
    for (const std::uint32_t identifier : *identifiers) {
      const auto record = RedoCopies::record(source_, identifier);
      if (!record) return systemFailure("read", folder.appending(std::to_string(identifier)), record.error());
      copies_[identifier] = {.inode = *record};
      if (*record) isSeen_[**record] = false;
    }
    return {};
  }

  void visit(const WalkedFile& file) {
    if (const auto awaited = isSeen_.find(file.status.st_ino); awaited != isSeen_.end()) awaited->second = true;
    // Another name of one that failed would tell the same again; one that was restored is ordinary by now.
    if (file.status.st_nlink > 1 && failedLinks_.contains(file.status.st_ino)) return;
    const auto restored = RestoredFile::restore(source_, lock_.privateFolder(), file, stop_);
    if (!restored) {
      const RestoredFile::Failure& failure = restored.error();
      if (failure.isGone) return;
      if (file.status.st_nlink > 1) failedLinks_.insert(file.status.st_ino);
      if (failure.redoIdentifier != 0) copies_[failure.redoIdentifier].isKept = true;
      return fail(file.path, failure.detail, beside(file.path, failure.appended));
    }
    if (restored->outcome != RestoredFile::Outcome::restored) return;
    ++result_.restored;
    onEvent_({.path = file.path,
              .outcome = RestoreEvent::Outcome::restored,
              .appended = beside(file.path, restored->appended),
              .detail = {}});
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

  // A copy goes when no state can name it: it was never finished, or its file was met and has its content. The file of
  // any other may have been moved out of the folder, and the copy be all that there is of it.
  void clearCopies() {
    for (const auto& [identifier, copy] : copies_) {
      if (copy.isKept || !isWhole_) continue;
      const FilePath path = RedoCopies::path(result_.folder).appending(std::to_string(identifier));
      if (copy.inode && !isSeen_.at(*copy.inode)) {
        fail(path, "It is the content of a file that is not in the folder any more. Remove it if you do not miss it.");
        continue;
      }
      const auto removed = RedoCopies::remove(source_, identifier);
      if (!removed && removed.error() != ErrorNumber::noEntry) {
        fail(path, fmt::format("It is not needed any more and could not be removed; another run tries again: {}.",
                               removed.error().text()));
      }
    }
  }

  int source_;
  SourceLock lock_;
  const std::function<void(const RestoreEvent&)>& onEvent_;
  std::stop_token stop_;
  RestoreResult result_;
  bool isWhole_ = true;                             // every folder could be looked at
  std::unordered_map<std::uint32_t, Copy> copies_;  // by their numbers
  std::unordered_map<ino_t, bool> isSeen_;          // files that copies were made for: whether the walk met them
  std::unordered_set<ino_t> failedLinks_;
};

}  // namespace

std::expected<RestoreResult, VolumeError> VolumeRestore::restore(
    const FilePath& folder, const std::function<void(const RestoreEvent&)>& onEvent, std::stop_token stop) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  if (const auto admitted = admit(*resolved); !admitted) return std::unexpected(admitted.error());
  const auto source = SystemCall::openAt(AT_FDCWD, resolved->c_str(), O_RDONLY | O_DIRECTORY);
  if (!source) return std::unexpected(VolumeErrors::NotAFolder{*resolved, source.error()});
  auto lock = SourceLock::acquire(source->get());
  if (!lock && lock.error() == ErrorNumber::wouldBlock) return std::unexpected(VolumeErrors::Served{*resolved});
  if (!lock) return systemFailure("lock", *resolved, lock.error());
  return Restore(*resolved, source->get(), std::move(*lock), onEvent, std::move(stop)).run();
}

}  // namespace quillbrook
