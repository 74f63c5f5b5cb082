// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeCheck.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>

#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/Linux/PrivateFolder.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/DamageText.h"
#include "Volume/Administration/RedoCopies.h"
#include "Volume/Administration/StoredFile.h"
#include "Volume/Administration/VolumeSource.h"
#include "Volume/Expansion/FolderWalk.h"

namespace quillbrook {
namespace {

using Kind = CheckFinding::Kind;

bool isSameMoment(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

class Check {
 public:
  Check(const VolumeSource& source, const std::function<void(const CheckFinding&)>& onFinding, std::stop_token stop)
      : source_(source), onFinding_(onFinding), stop_(std::move(stop)) {
    result_.folder = source.folder;
    // A daemon at work makes and removes copies all the time; those of a part may belong to files elsewhere.
    if (!source.isServed && !source.volume.isOpen()) readCopies();
  }

  std::expected<CheckResult, VolumeError> run() {
    const FolderWalk::Visitor visitor{
        .onFile = [this](const WalkedFile& file) { visit(file); },
        .onUnreadable = [this](const FilePath& path,
                               ErrorNumber reason) { report(path, Kind::unreadable, reason.text()); }};
    if (!FolderWalk::walk(source_.descriptor.get(), source_.folder, visitor, stop_)) {
      return std::unexpected(VolumeErrors::Stopped{});
    }
    reportOrphans();
    return result_;
  }

 private:
  void report(const FilePath& path, Kind kind, std::string detail) {
    if (isDamage(kind)) {
      ++result_.damaged;
    } else if (kind == Kind::unreadable) {
      ++result_.unreadable;
    } else {
      ++result_.notes;
    }
    onFinding_({.path = path, .kind = kind, .detail = std::move(detail)});
  }

  void add(const ContainerState& state) {
    // What states claim can be more than a size can tell.
    result_.logicalBytes =
        std::min(result_.logicalBytes + state.logicalByteCount, ContainerState::largestLogicalByteCount);
  }

  void visit(const WalkedFile& file) {
    if (file.status.st_nlink > 1 && !linked_.insert(file.status.st_ino).second) return;
    const std::uint64_t before = result_.damaged + result_.unreadable;
    look(file);
    if (result_.damaged + result_.unreadable != before) doubtful_.insert(file.status.st_ino);
  }

  void look(const WalkedFile& file) {
    // Beneath a daemon a file may be swapped or turned back while it is examined. What was found counts only if the
    // inode was not changed in between; a file that never rests is not judged.
    constexpr int attempts = 10;
    for (int i = 0; i < attempts; ++i) {
      const auto opened = SystemCall::openUnnoticed(file.folder, file.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
      if (!opened && (opened.error() == ErrorNumber::noEntry || opened.error() == ErrorNumber{ELOOP})) return;
      if (!opened) {
        report(file.path, Kind::unreadable, opened.error().text());
        return;
      }
      const auto before = SystemCall::status(opened->get());
      if (!before) {
        report(file.path, Kind::unreadable, before.error().text());
        return;
      }
      const auto found = examine(file.folder, opened->get(), file.name);
      if (!found && found.error() == ErrorNumber::cancelled) return;
      if (source_.isServed) {
        const auto after = SystemCall::status(opened->get());
        if (!after || !isSameMoment(before->st_ctim, after->st_ctim)) continue;
      }
      ++result_.files;
      if (!found) {
        report(file.path, Kind::unreadable, found.error().text());
        return;
      }
      if (found->damage) {
        reportDamage(file, *found->damage);
        return;
      }
      std::visit([&](const auto& stored) { judge(file, stored); }, found->stored);
      return;
    }
    ++result_.files;
    report(file.path, Kind::unreadable, "it is being changed all the time");
  }

  struct Examined {
    StoredFile stored;
    std::optional<ContainerDamage> damage;
  };

  Result<Examined> examine(int folder, int file, const char* name) const {
    auto stored = examineStoredFile(folder, file, name);
    if (!stored) return std::unexpected(stored.error());
    Examined examined{.stored = *stored, .damage = {}};
    if (const auto* container = std::get_if<StoredFiles::Container>(&examined.stored)) {
      auto damage = findDamage(file, *container, stop_);
      if (!damage) return std::unexpected(damage.error());
      examined.damage = *damage;
    }
    return examined;
  }

  void judge(const WalkedFile& file, const StoredFiles::Ordinary&) {
    for (const auto& [identifier, inode] : copies_) {
      if (inode != file.status.st_ino) continue;
      const auto opened = SystemCall::openAt(file.folder, file.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
      const Result<bool> isHeld = opened ? RedoCopies::isHeldBy(opened->get(), source_.descriptor.get(), identifier)
                                         : Result<bool>(std::unexpected(opened.error()));
      if (!isHeld) {
        report(file.path, Kind::unreadable, isHeld.error().text());
      } else if (!*isHeld) {
        report(file.path, Kind::differsFromRedoCopy, pathOf(identifier).displayText());
      }
    }
  }

  void judge(const WalkedFile& file, const StoredFiles::WorkFile&) {
    if (!source_.isServed) report(file.path, Kind::workFile, {});
  }

  void judge(const WalkedFile& file, const StoredFiles::Emptied&) {
    ++result_.containers;
    report(file.path, Kind::interruptedExpansion, "it was being emptied");
  }

  void judge(const WalkedFile& file, const StoredFiles::Redone& stored) {
    ++result_.containers;
    named_.insert(stored.state.redoIdentifier);
    if (!stored.hasCopy) {
      report(file.path, Kind::redoCopyMissing, fmt::format("redo copy {}", stored.state.redoIdentifier));
    } else {
      add(stored.state);
      report(file.path, Kind::interruptedExpansion, {});
    }
  }

  void judge(const WalkedFile& file, const StoredFiles::Container& stored) {
    using Attribute = StoredFiles::Container::Attribute;
    ++result_.containers;
    add(stored.state);
    const std::string surplus =
        stored.surplusByteCount == 0 ? std::string() : fmt::format("{} bytes appended", stored.surplusByteCount);
    if (stored.attribute == Attribute::damaged) {
      report(file.path, Kind::damagedState, surplus.empty() ? "its trailer is whole" : surplus);
    } else if (stored.attribute == Attribute::missing) {
      report(file.path, Kind::attributeMissing, surplus);
    } else if (stored.surplusByteCount != 0) {
      report(file.path, Kind::surplusBytes, surplus);
    }
  }

  void judge(const WalkedFile& file, const StoredFiles::StateUnknown&) {
    ++result_.containers;
    report(file.path, Kind::damagedState, "no trailer was found either");
  }

  void judge(const WalkedFile& file, const StoredFiles::TrailerMissing&) {
    report(file.path, Kind::trailerMissing, {});
  }

  void reportDamage(const WalkedFile& file, const ContainerDamage& damage) {
    ++result_.containers;
    std::visit([&](const auto& kind) { judgeDamage(file, kind); }, damage);
  }

  void judgeDamage(const WalkedFile& file, const ContainerCutShort& damage) {
    report(file.path, Kind::cutShort, fmt::format("{} bytes of {}", damage.got, damage.expected));
  }
  void judgeDamage(const WalkedFile& file, const TypeNotSupported& damage) {
    if (damage.rawValue == DecmpfsHeader::datalessRawValue) {
      report(file.path, Kind::datalessCloud, {});
    } else {
      report(file.path, Kind::unsupportedType, fmt::format("type {}", damage.rawValue));
    }
  }
  void judgeDamage(const WalkedFile& file, const ContainerUnreadable& damage) {
    report(file.path, Kind::unreadable, damage.error.text());
  }
  void judgeDamage(const WalkedFile& file, const auto& damage) {
    report(file.path, Kind::damagedContainer, DamageText::of(damage));
  }

  [[nodiscard]] FilePath pathOf(std::uint32_t identifier) const {
    return PrivateFolder::redoPath(source_.folder).appending(std::to_string(identifier));
  }

  void readCopies() {
    const auto copies = RedoCopies::list(source_.descriptor.get());
    if (!copies) {
      report(PrivateFolder::redoPath(source_.folder), Kind::unreadable, copies.error().text());
      return;
    }
    for (const std::uint32_t identifier : *copies) {
      const auto inode = RedoCopies::record(source_.descriptor.get(), identifier);
      if (inode) {
        copies_.emplace(identifier, *inode);
      } else {
        unrecorded_.emplace(identifier, inode.error());
      }
    }
  }

  // Of the copies that no state names.
  void reportOrphans() {
    for (const auto& [identifier, reason] : unrecorded_) {
      if (!named_.contains(identifier)) report(pathOf(identifier), Kind::unreadable, reason.text());
    }
    for (const auto& [identifier, inode] : copies_) {
      if (!named_.contains(identifier) && (!inode || !doubtful_.contains(*inode))) {
        report(pathOf(identifier), Kind::orphanRedoCopy, {});
      }
    }
  }

  const VolumeSource& source_;
  const std::function<void(const CheckFinding&)>& onFinding_;
  std::stop_token stop_;
  CheckResult result_;
  std::unordered_map<std::uint32_t, std::optional<ino_t>> copies_;  // redo copies, and the inodes they were made for
  std::unordered_map<std::uint32_t, ErrorNumber> unrecorded_;       // those of which that could not be read
  std::unordered_set<ino_t> linked_;                                // inodes with several names that were seen
  std::unordered_set<std::uint32_t> named_;                         // redo copies that are some file's content
  std::unordered_set<ino_t> doubtful_;  // damaged or unreadable: their content may be a copy that nobody names
};

}  // namespace

std::expected<CheckResult, VolumeError> VolumeCheck::check(const FilePath& folder,
                                                           const std::function<void(const CheckFinding&)>& onFinding,
                                                           std::stop_token stop) {
  const auto source = VolumeSource::open(folder);
  if (!source) return std::unexpected(source.error());
  return Check(*source, onFinding, std::move(stop)).run();
}

}  // namespace quillbrook
