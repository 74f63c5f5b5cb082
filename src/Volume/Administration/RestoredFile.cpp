// SPDX-License-Identifier: MIT
#include "Volume/Administration/RestoredFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Compression/Header/DecmpfsHeader.h"
#include "Platform/Linux/RedoRecord.h"
#include "Platform/Linux/StoredState.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/AppendedFile.h"
#include "Volume/Administration/DamageText.h"
#include "Volume/Administration/OwnedFile.h"
#include "Volume/Administration/RedoCopies.h"
#include "Volume/Administration/StoredFile.h"
#include "Volume/Expansion/Expansion.h"

namespace quillbrook {
namespace {

using Failure = RestoredFile::Failure;
using Answer = std::expected<RestoredFile, Failure>;

std::unexpected<Failure> failed(std::string_view what, ErrorNumber reason) {
  std::string_view advice;
  if (reason == ErrorNumber::notPermitted) {
    advice = ". See with lsattr whether it is immutable or append-only, and take that off with chattr";
  }
  if (reason == ErrorNumber::noSpace) advice = ". Make room there and give the same command again";
  return std::unexpected<Failure>(
      Failure{.detail = fmt::format("{}{}: {}.", what, advice, reason.text()), .appended = std::nullopt});
}

std::unexpected<Failure> leftAlone(std::string detail) {
  return std::unexpected<Failure>(Failure{.detail = std::move(detail), .appended = std::nullopt});
}

bool isSameInode(int first, int second) {
  const auto a = SystemCall::status(first);
  const auto b = SystemCall::status(second);
  return a && b && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

std::string wordsOn(const ContainerDamage& damage) {
  std::string_view advice = "It is damaged and was left as it is; bring it back from a backup";
  if (const auto* type = std::get_if<TypeNotSupported>(&damage)) {
    if (type->rawValue == DecmpfsHeader::datalessRawValue) {
      return "It is a placeholder, whose content lies elsewhere, and was left as it is.";
    }
    advice = "It was left as it is; use a newer version";
  } else if (std::holds_alternative<ContainerUnreadable>(damage)) {
    advice = "It was left as it is; put right what the system says and run this again";
  }
  return fmt::format("{}: {}.", advice, DamageText::of(damage));
}

Result<void> sync(int file) {
  return SystemCall::checked([&] { return ::fsync(file); });
}

// Takes the surplus off the container, without a trace in times, mode and capabilities.
Result<void> cutOff(int source, int file, std::uint64_t byteCount) {
  const auto record = RedoRecord::of(source, file);
  if (!record) return std::unexpected(record.error());
  const auto cut = SystemCall::checked([&] { return ::ftruncate(file, static_cast<off_t>(byteCount)); });
  if (!cut) return cut;
  if (const auto restored = record->restore(file); !restored) return restored;
  return sync(file);
}

class Restoration {
 public:
  Restoration(int source, int privateFolder, const WalkedFile& file, std::stop_token stop)
      : source_(source), privateFolder_(privateFolder), file_(file), stop_(std::move(stop)) {}

  [[nodiscard]] Answer run() const {
    const auto examined = OwnedFile::open(file_.folder, file_.name, O_RDONLY);
    if (!examined) {
      auto failure = failed("It could not be opened, and was left as it is", examined.error());
      failure.error().isGone = examined.error() == ErrorNumber::noEntry;
      return failure;
    }
    const auto found = examineStoredFile(file_.folder, examined->get(), file_.name);
    if (!found) return failed("It could not be read, and was left as it is", found.error());
    return std::visit([&](const auto& stored) { return settle(examined->get(), stored); }, *found);
  }

 private:
  static Answer settle(int, const StoredFiles::Ordinary&) { return RestoredFile{}; }
  // No user's file: the operation that builds it, or its next attempt, takes it away.
  static Answer settle(int, const StoredFiles::WorkFile&) { return RestoredFile{}; }
  static Answer settle(int, const StoredFiles::StateUnknown&) {
    return leftAlone("What is known of it is damaged, and it was left as it is. Bring it back from a backup.");
  }
  static Answer settle(int, const StoredFiles::TrailerMissing&) {
    return leftAlone(
        "It begins like a compressed file, but its end is missing, and it was left as it is. If it is one, bring it "
        "back from a backup.");
  }

  [[nodiscard]] Answer settle(int examined, const StoredFiles::Emptied& stored) const {
    const auto file = openForRewriting(examined);
    if (!file) return failed("It could not be opened for writing, and was left as it is", file.error());
    if (const auto done = Expansion::expandToNothing(file->get(), stored.state); !done) {
      return failed("Emptying it could not be completed; another run goes on from there", done.error());
    }
    return RestoredFile{.outcome = RestoredFile::Outcome::restored, .appended = {}};
  }

  [[nodiscard]] Answer settle(int examined, const StoredFiles::Redone& stored) const {
    auto answer = finish(examined, stored);
    if (!answer) answer.error().redoIdentifier = stored.state.redoIdentifier;
    return answer;
  }

  [[nodiscard]] Answer finish(int examined, const StoredFiles::Redone& stored) const {
    if (!stored.hasCopy) {
      return leftAlone(fmt::format(
          "Its content should be redo copy {}, which was not found or was made for another file, and it was "
          "left as it is. Look for it in .quillbrook-volume folders before you bring this file back from a "
          "backup.",
          stored.state.redoIdentifier));
    }
    const auto record = RedoCopies::record(source_, stored.state.redoIdentifier);
    if (!record && record.error() == ErrorNumber::noEntry) {
      return leftAlone(
          "Its content is a redo copy of another volume, above this folder or in it, whose folder .quillbrook-volume "
          "has it, and it was left as it is. Restore that volume as a whole.");
    }
    const auto file = openForRewriting(examined);
    if (!file) return failed("It could not be opened for writing, and was left as it is", file.error());
    if (const auto done = Expansion::finish(source_, file->get(), stored.state); !done) {
      return failed("Turning it back could not be completed; another run goes on from there", done.error());
    }
    return RestoredFile{.outcome = RestoredFile::Outcome::restored, .appended = {}};
  }

  [[nodiscard]] Answer settle(int examined, const StoredFiles::Container& stored) const {
    const bool isAsSealed =
        stored.attribute == StoredFiles::Container::Attribute::whole && stored.surplusByteCount == 0;
    // Expansion verifies all that it reads before it changes anything; what changes the file before it must be as sure.
    if (!isAsSealed) {
      if (const auto obstacle = judge(examined, stored)) return *obstacle;
    }
    const auto file = openForRewriting(examined);
    if (!file) return failed("It could not be opened for writing, and was left as it is", file.error());
    RestoredFile result{.outcome = RestoredFile::Outcome::restored, .appended = {}};
    if (stored.surplusByteCount != 0) {
      const std::uint64_t own = stored.state.rawByteCount();
      auto kept =
          AppendedFile::keep(file_.folder, file_.name,
                             {.file = examined, .offset = own, .byteCount = stored.surplusByteCount}, privateFolder_);
      if (!kept) return failed("What was appended to it could not be kept elsewhere", kept.error());
      result.appended = std::move(*kept);
      if (const auto cut = cutOff(source_, file->get(), own); !cut) {
        return withAppended(failed("What was appended to it could not be taken off", cut.error()), result);
      }
    }
    if (const auto expanded = expand(file->get(), stored); !expanded) {
      if (expanded.error() == ErrorNumber::cancelled) {
        result.outcome = RestoredFile::Outcome::stopped;
        return result;
      }
      if (isAsSealed && isStillContainer(file->get())) {
        if (const auto obstacle = judge(examined, stored)) return *obstacle;
      }
      return withAppended(failed("It could not be turned back; another run tries again", expanded.error()), result);
    }
    return result;
  }

  // What to answer instead of restoring, if the container is damaged or the search for damage is stopped.
  [[nodiscard]] std::optional<Answer> judge(int examined, const StoredFiles::Container& stored) const {
    const auto damage = findDamage(examined, stored, stop_);
    if (!damage && damage.error() == ErrorNumber::cancelled) {
      return RestoredFile{.outcome = RestoredFile::Outcome::stopped, .appended = {}};
    }
    if (!damage) return failed("It could not be read, and was left as it is", damage.error());
    if (!*damage) return std::nullopt;
    return leftAlone(wordsOn(**damage));
  }

  // Whether nothing has been put in the place of the container's bytes yet.
  static bool isStillContainer(int file) {
    const auto state = StoredState::read(file);
    return state && *state && (*state)->isSealed() && (*state)->redoIdentifier == 0;
  }

  // The state goes back to where everybody looks for it first: from then on a crash leaves a container like any other.
  [[nodiscard]] Result<void> expand(int file, const StoredFiles::Container& stored) const {
    if (stored.attribute != StoredFiles::Container::Attribute::whole) {
      if (const auto written = StoredState::write(file, stored.state); !written) return written;
      if (const auto synced = sync(file); !synced) return synced;
    }
    return Expansion::expand(source_, file, stored.state, stop_);
  }

  // The very inode that was examined, locked against every other operation of ours.
  [[nodiscard]] Result<OwnedFile> openForRewriting(int examined) const {
    auto file = OwnedFile::open(file_.folder, file_.name, O_RDWR);
    if (!file) return file;
    if (!isSameInode(examined, file->get())) return std::unexpected(ErrorNumber::busy);
    if (::flock(file->get(), LOCK_EX | LOCK_NB) != 0) return SystemCall::failure();
    return file;
  }

  static Answer withAppended(std::unexpected<Failure> failure, const RestoredFile& result) {
    failure.error().appended = result.appended;
    return failure;
  }

  int source_;
  int privateFolder_;
  const WalkedFile& file_;
  std::stop_token stop_;
};

}  // namespace

Answer RestoredFile::restore(int source, int privateFolder, const WalkedFile& file, const std::stop_token& stop) {
  return Restoration(source, privateFolder, file, stop).run();
}

}  // namespace quillbrook
