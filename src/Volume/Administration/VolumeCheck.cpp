// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeCheck.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <variant>

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
  }

  std::expected<CheckResult, VolumeError> run() {
    const FolderWalk::Visitor visitor{
        .onFile = [this](const WalkedFile& file) { visit(file); },
        .onUnreadable = [this](const FilePath& path,
                               ErrorNumber reason) { report(path, Kind::unreadable, reason.text()); }};
    if (!FolderWalk::walk(source_.descriptor.get(), source_.folder, visitor, stop_)) {
      return std::unexpected(VolumeErrors::Stopped{});
    }
    // A daemon at work makes and removes copies all the time.
    if (!source_.isServed) reportOrphans();
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

  void visit(const WalkedFile& file) {
    if (file.status.st_nlink > 1 && !linked_.insert(file.status.st_ino).second) return;
    // Beneath a daemon a file may be swapped or turned back while it is examined. What was found counts only if the
    // inode was not changed in between; a file that never rests is not judged.
    constexpr int attempts = 10;
    for (int i = 0; i < attempts; ++i) {
      const auto opened = SystemCall::openAt(file.folder, file.name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
      if (!opened && (opened.error() == ErrorNumber::noEntry || opened.error() == ErrorNumber{ELOOP})) return;
      if (!opened) return report(file.path, Kind::unreadable, opened.error().text());
      const auto before = SystemCall::status(opened->get());
      if (!before) return report(file.path, Kind::unreadable, before.error().text());
      const auto found = examine(opened->get(), file.name);
      if (!found && found.error() == ErrorNumber::cancelled) return;
      if (source_.isServed) {
        const auto after = SystemCall::status(opened->get());
        if (!after || !isSameMoment(before->st_ctim, after->st_ctim)) continue;
      }
      ++result_.files;
      if (!found) return report(file.path, Kind::unreadable, found.error().text());
      if (found->damage) return reportDamage(file, *found->damage);
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

  Result<Examined> examine(int file, const char* name) const {
    auto stored = examineStoredFile(source_.descriptor.get(), file, name);
    if (!stored) return std::unexpected(stored.error());
    Examined examined{.stored = std::move(*stored), .damage = {}};
    if (const auto* container = std::get_if<StoredFiles::Container>(&examined.stored)) {
      auto damage = findDamage(file, *container, stop_);
      if (!damage) return std::unexpected(damage.error());
      examined.damage = std::move(*damage);
    }
    return examined;
  }

  void judge(const WalkedFile&, const StoredFiles::Ordinary&) {}

  void judge(const WalkedFile& file, const StoredFiles::WorkFile&) {
    if (!source_.isServed) report(file.path, Kind::workFile, {});
  }

  void judge(const WalkedFile& file, const StoredFiles::Redone& stored) {
    ++result_.containers;
    named_.insert(stored.state.redoIdentifier);
    if (!stored.hasCopy) {
      report(file.path, Kind::redoCopyMissing, fmt::format("redo copy {}", stored.state.redoIdentifier));
    } else {
      result_.logicalBytes += stored.state.logicalByteCount;
      report(file.path, Kind::interruptedExpansion, {});
    }
  }

  void judge(const WalkedFile& file, const StoredFiles::Container& stored) {
    using Attribute = StoredFiles::Container::Attribute;
    ++result_.containers;
    result_.logicalBytes += stored.state.logicalByteCount;
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
    report(file.path, Kind::unsupportedType, fmt::format("type {}", damage.rawValue));
  }
  void judgeDamage(const WalkedFile& file, const ContainerUnreadable& damage) {
    report(file.path, Kind::unreadable, damage.error.text());
  }
  void judgeDamage(const WalkedFile& file, const auto& damage) {
    report(file.path, Kind::damagedContainer, DamageText::of(damage));
  }

  void reportOrphans() {
    const auto copies = RedoCopies::list(source_.descriptor.get());
    const FilePath folder = RedoCopies::path(source_.folder);
    if (!copies) return report(folder, Kind::unreadable, copies.error().text());
    for (const std::uint32_t identifier : *copies) {
      if (!named_.contains(identifier)) report(folder.appending(std::to_string(identifier)), Kind::orphanRedoCopy, {});
    }
  }

  const VolumeSource& source_;
  const std::function<void(const CheckFinding&)>& onFinding_;
  std::stop_token stop_;
  CheckResult result_;
  std::unordered_set<ino_t> linked_;         // inodes with several names that were seen
  std::unordered_set<std::uint32_t> named_;  // redo copies that are some file's content
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
