// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeError.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/ProgramWords.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {
namespace {

using namespace VolumeErrors;

std::string listed(const std::vector<FolderUser>& users) {
  std::string text;
  for (const FolderUser& user : users) text += "\n  " + sentence(user);
  return text;
}

struct Describer {
  std::string operator()(const NotAFolder& e) const {
    return fmt::format("notAFolder(path: {}, reason: {})", e.path.displayText(), e.reason.value);
  }
  std::string operator()(const Nested& e) const {
    return fmt::format("nested(folder: {}, volume: {}, isInside: {})", e.folder.displayText(), e.volume.displayText(),
                       e.isInside);
  }
  std::string operator()(const Protected& e) const {
    return fmt::format("protected(folder: {}, needed: {}, what: {})", e.folder.displayText(), e.needed.displayText(),
                       e.what);
  }
  std::string operator()(const NotMounted& e) const {
    return fmt::format("notMounted(folder: {})", e.folder.displayText());
  }
  std::string operator()(const ForeignMount& e) const {
    return fmt::format("foreignMount(folder: {}, owner: {})", e.folder.displayText(), e.owner);
  }
  std::string operator()(const Served& e) const { return fmt::format("served(folder: {})", e.folder.displayText()); }
  std::string operator()(const Ending& e) const { return fmt::format("ending(folder: {})", e.folder.displayText()); }
  std::string operator()(const ForeignPrivateFolder& e) const {
    return fmt::format("foreignPrivateFolder(folder: {})", e.folder.displayText());
  }
  std::string operator()(const MountedOtherwise& e) const {
    return fmt::format("mountedOtherwise(folder: {}, how: {})", e.folder.displayText(), e.how);
  }
  std::string operator()(const MountInside& e) const {
    return fmt::format("mountInside(folder: {}, inner: {})", e.folder.displayText(), e.inner.displayText());
  }
  std::string operator()(const FuseUnavailable& e) const {
    return fmt::format("fuseUnavailable(what: {}, reason: {})", e.what, e.reason.value);
  }
  std::string operator()(const DaemonMissing& e) const {
    return fmt::format("daemonMissing(searched: {})", e.searched.size());
  }
  std::string operator()(const DaemonFailed& e) const {
    return fmt::format("daemonFailed(folder: {}, exitCode: {}, words: {}, hadMounted: {})", e.folder.displayText(),
                       e.exitCode, ProgramWords::trimmed(e.words), e.hadMounted);
  }
  std::string operator()(const InUse& e) const {
    return fmt::format("inUse(folder: {}, users: {})", e.folder.displayText(), e.users.size());
  }
  std::string operator()(const HelperFailed& e) const {
    return fmt::format("helperFailed(command: {}, exitCode: {}, words: {})", e.command, e.exitCode,
                       ProgramWords::trimmed(e.words));
  }
  std::string operator()(const SystemFailure& e) const {
    return fmt::format("systemFailure(action: {}, path: {}, reason: {})", e.action, e.path.displayText(),
                       e.reason.value);
  }
  std::string operator()(const DaemonDied& e) const {
    return fmt::format("daemonDied(folder: {})", e.folder.displayText());
  }
  std::string operator()(const Stopped&) const { return "stopped"; }
};

struct Sentence {
  std::string operator()(const NotAFolder& e) const {
    if (DaemonAddress::hasDied(e.reason)) return (*this)(DaemonDied{e.path});
    return fmt::format("{} cannot be used: give a folder that exists and that you may use: {}.",
                       e.path.empty() ? "''" : e.path.displayText(), e.reason.text());
  }
  std::string operator()(const Nested& e) const {
    return fmt::format("{} cannot become a volume: {} the volume {}; unmount that one first, or choose another folder.",
                       e.folder.displayText(), e.isInside ? "it lies in" : "it holds", e.volume.displayText());
  }
  std::string operator()(const Protected& e) const {
    const std::string reason = e.needed == e.folder ? fmt::format("it is {}", e.what)
                                                    : fmt::format("{} is {}", e.needed.displayText(), e.what);
    return fmt::format(
        "{} should not become a volume: {}, which must be readable before the volume is mounted; choose a folder "
        "that does without it, or insist with --force.",
        e.folder.displayText(), reason);
  }
  std::string operator()(const NotMounted& e) const {
    return fmt::format("{} is no mounted volume: `quillbrookctl volume list` shows those that are.",
                       e.folder.displayText());
  }
  std::string operator()(const ForeignMount& e) const {
    return fmt::format("{} was mounted by the user with the number {}: only they, or root, can do this.",
                       e.folder.displayText(), e.owner);
  }
  std::string operator()(const Served& e) const {
    return fmt::format(
        "{} is being served by a volume daemon, or another `quillbrookctl volume restore` is at work in "
        "it: unmount its volume first (`quillbrookctl volume list`), or let that end.",
        e.folder.displayText());
  }
  std::string operator()(const ForeignPrivateFolder& e) const {
    return fmt::format(
        "{} is no folder, another user's, or open to others; run this as its owner, or remove it if its redo copies "
        "are "
        "not needed.",
        e.folder.appending(VolumeProtocol::privateFolder).displayText());
  }
  std::string operator()(const Ending& e) const {
    return fmt::format(
        "The volume of {} is still ending, since programs have files open in it or another mount of it is there (a "
        "bind "
        "mount, another namespace), or another `quillbrookctl volume restore` is at work: let that end, and try again.",
        e.folder.displayText());
  }
  std::string operator()(const MountedOtherwise& e) const {
    return fmt::format("{} is mounted already, {}: unmount it first.", e.folder.displayText(), e.how);
  }
  std::string operator()(const MountInside& e) const {
    return fmt::format("{} cannot be unmounted while something is mounted in it: unmount {} first.",
                       e.folder.displayText(), e.inner.displayText());
  }
  std::string operator()(const FuseUnavailable& e) const {
    return fmt::format("No volume can be mounted, since {}: {}: {}.", e.what, e.remedy, e.reason.text());
  }
  std::string operator()(const DaemonMissing& e) const {
    std::string places;
    for (const FilePath& path : e.searched) places += (places.empty() ? "" : ", ") + path.displayText();
    return fmt::format("The program quillbrook-volume was not found: install it beside this one. Looked in: {}.",
                       places);
  }
  std::string operator()(const DaemonFailed& e) const {
    if (e.hadMounted) {
      constexpr int signalBase = 128;
      return fmt::format("The volume of {} has ended, since quillbrook-volume {} {}; mount it again.",
                         e.folder.displayText(), e.exitCode > signalBase ? "was ended by signal" : "failed with code",
                         e.exitCode > signalBase ? e.exitCode - signalBase : e.exitCode);
    }
    return ProgramWords::behind(
        fmt::format("{} could not be mounted, since quillbrook-volume ended with code {}; put right what "
                    "it says and mount again",
                    e.folder.displayText(), e.exitCode),
        ProgramWords::trimmed(e.words).empty() ? "it said nothing" : std::string_view(e.words));
  }
  std::string operator()(const InUse& e) const {
    if (e.users.empty()) {
      return fmt::format(
          "{} is in use by what cannot be seen from here, as another user's process, a bound socket, a loop device or "
          "a "
          "swap file: let that go, or have root look.",
          e.folder.displayText());
    }
    return fmt::format("{} is in use{}: let these processes close their files there and leave it:{}",
                       e.folder.displayText(),
                       e.clearedStaleMount ? ", and bare, since its daemon had died and the dead mount was taken away; "
                                             "programs see the stored form of its compressed files until it is mounted"
                                           : "",
                       listed(e.users));
  }
  std::string operator()(const HelperFailed& e) const { return ProgramWords::failure(e.command, e.exitCode, e.words); }
  std::string operator()(const SystemFailure& e) const {
    if (e.reason == ErrorNumber::readOnly) {
      return fmt::format("Could not {} {}, which cannot be written to: mount its file system for writing: {}.",
                         e.action, e.path.displayText(), e.reason.text());
    }
    return fmt::format("Could not {} {}; put right what the system says and try again: {}.", e.action,
                       e.path.displayText(), e.reason.text());
  }
  std::string operator()(const Stopped&) const {
    return "Stopped: nothing is half done, and the same command can be given again.";
  }
  std::string operator()(const DaemonDied& e) const {
    return fmt::format("The daemon that serves {} has died: mount its volume again (`quillbrookctl volume mount`).",
                       e.folder.displayText());
  }
};

}  // namespace

std::unexpected<VolumeError> systemFailure(std::string action, const FilePath& path, ErrorNumber reason) {
  return std::unexpected<VolumeError>(SystemFailure{std::move(action), path, reason});
}

std::string describe(const VolumeError& error) {
  return std::visit(Describer{}, error);
}

std::string sentence(const VolumeError& error) {
  return std::visit(Sentence{}, error);
}

std::string sentence(const FolderUser& user) {
  std::string_view how = "standing in";
  if (user.hasOpenFiles) how = "reading";
  if (user.writes) how = "writing";
  return fmt::format("{} ({}), {} {}", user.process, FilePath(user.command).displayText(), how,
                     user.example.displayText());
}

}  // namespace quillbrook
