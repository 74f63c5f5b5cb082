// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeMount.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Linux/ChildProgram.h"
#include "Platform/Linux/DaemonAddress.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/DaemonProgram.h"
#include "Volume/Administration/FuseAvailability.h"
#include "Volume/Administration/MountDetach.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/StopDescriptor.h"

namespace quillbrook {
namespace {

using Outcome = std::expected<MountOutcome, VolumeError>;

// Whether a volume is mounted at `folder`, answering or not.
Result<bool> isVolume(const FilePath& folder) {
  const auto volumes = MountedVolumes::read();
  if (!volumes) return std::unexpected(volumes.error());
  return MountedVolumes::at(*volumes, folder) != nullptr;
}

// What to wait for besides the daemon's end.
enum class Awaited { mountOrEnd, end };

// True if the daemon has ended, false if its mount answers.
std::expected<bool, VolumeError> await(Awaited awaited, const ChildProgram& daemon, const FilePath& folder,
                                       std::stop_token stop) {
  const auto process = daemon.openProcess();
  if (!process) return systemFailure("wait for the daemon of", folder, process.error());
  const auto stopping = StopDescriptor::open(std::move(stop));
  if (!stopping) return systemFailure("wait for the daemon of", folder, stopping.error());
  // The kernel reports each change of the table as an exceptional condition: proc_pid_mountinfo(5).
  const auto changes = SystemCall::openAt(AT_FDCWD, MountTable::path, O_RDONLY);
  if (!changes) return MountedVolumes::failure(changes.error());
  bool isTerminated = false;
  for (;;) {
    if (awaited == Awaited::mountOrEnd) {
      const auto isMounted = isVolume(folder);
      if (!isMounted) return MountedVolumes::failure(isMounted.error());
      if (*isMounted && DaemonAddress::ask(folder)) return false;
    }
    std::array<pollfd, 3> waited{
        {{.fd = process->get(), .events = POLLIN, .revents = 0},
         {.fd = isTerminated ? -1 : (*stopping)->get(), .events = POLLIN, .revents = 0},
         {.fd = awaited == Awaited::mountOrEnd ? changes->get() : -1, .events = POLLPRI, .revents = 0}}};
    if (::poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) {
      return systemFailure("wait for the daemon of", folder, ErrorNumber{errno});
    }
    if (waited[0].revents != 0) return true;
    if (waited[1].revents != 0) {
      daemon.terminate();
      isTerminated = true;
    }
  }
}

std::vector<std::string> commandLine(const FilePath& program, const FilePath& folder, const MountOptions& options) {
  std::vector<std::string> arguments{program.bytes()};
  if (options.foreground) arguments.emplace_back("-f");
  if (options.readOnly) arguments.insert(arguments.end(), {"-o", "ro"});
  if (options.allowOther) arguments.insert(arguments.end(), {"-o", "allow_other"});
  arguments.emplace_back("--");
  arguments.push_back(folder.bytes());
  return arguments;
}

std::unexpected<VolumeError> daemonFailure(ChildProgram& daemon, const FilePath& folder, const std::stop_token& stop) {
  const int exitCode = daemon.wait();
  if (stop.stop_requested()) return std::unexpected<VolumeError>(VolumeErrors::Stopped{});
  return std::unexpected<VolumeError>(
      VolumeErrors::DaemonFailed{.folder = folder, .exitCode = exitCode, .words = daemon.words(), .hadMounted = false});
}

Outcome runInForeground(ChildProgram daemon, MountOutcome outcome, const std::stop_token& stop,
                        const std::function<void(const MountOutcome&)>& onMounted) {
  const auto endedEarly = await(Awaited::mountOrEnd, daemon, outcome.folder, stop);
  if (!endedEarly) return std::unexpected(endedEarly.error());
  if (*endedEarly) return daemonFailure(daemon, outcome.folder, stop);
  onMounted(outcome);
  if (const auto ended = await(Awaited::end, daemon, outcome.folder, stop); !ended)
    return std::unexpected(ended.error());
  if (const int exitCode = daemon.wait(); exitCode != 0) {
    return std::unexpected(
        VolumeErrors::DaemonFailed{.folder = outcome.folder, .exitCode = exitCode, .words = {}, .hadMounted = true});
  }
  return outcome;
}

// The daemon goes into the background by itself once the mount stands, and the program that was started ends.
Outcome runInBackground(ChildProgram daemon, MountOutcome outcome, const std::stop_token& stop,
                        const std::function<void(const MountOutcome&)>& onMounted) {
  if (const auto ended = await(Awaited::end, daemon, outcome.folder, stop); !ended)
    return std::unexpected(ended.error());
  if (daemon.wait() != 0 || !DaemonAddress::ask(outcome.folder)) return daemonFailure(daemon, outcome.folder, stop);
  outcome.words = daemon.words();
  onMounted(outcome);
  return outcome;
}

// Why a mounted volume is not what was asked for; nothing if it is.
std::optional<std::string> difference(const MountedVolume& mounted, const MountOptions& wanted) {
  if (wanted.foreground) return "by a daemon of its own";
  if (mounted.isReadOnly != wanted.readOnly) return mounted.isReadOnly ? "read-only" : "for writing";
  if (mounted.admitsOthers != wanted.allowOther) return mounted.admitsOthers ? "for other users too" : "for one user";
  return std::nullopt;
}

}  // namespace

Outcome VolumeMount::mount(const FilePath& folder, const MountOptions& options, const std::stop_token& stop,
                           const std::function<void(const MountOutcome&)>& onMounted) {
  const auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  MountOutcome outcome{.folder = *resolved, .users = {}, .words = {}};

  // A dead mount, which at least shows nobody the bare files, is not taken away for nothing.
  if (auto available = FuseAvailability::check(); !available) return std::unexpected(std::move(available.error()));
  const auto program = DaemonProgram::find();
  if (!program) return std::unexpected(program.error());
  const auto cleared = MountDetach::clearStale(outcome.folder);
  if (!cleared) return std::unexpected(cleared.error());
  outcome.clearedStaleMount = *cleared;
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  if (const MountedVolume* mounted = MountedVolumes::at(*volumes, outcome.folder)) {
    if (auto how = difference(*mounted, options)) {
      return std::unexpected(VolumeErrors::MountedOtherwise{outcome.folder, std::move(*how)});
    }
    outcome.wasMounted = true;
    onMounted(outcome);
    return outcome;
  }

  if (auto admitted = MountPolicy::admit(outcome.folder, options.force); !admitted) {
    return std::unexpected(std::move(admitted.error()));
  }
  auto users = FolderUsers::find(outcome.folder);
  if (!users) return systemFailure("look for users of", outcome.folder, users.error());
  outcome.users = std::move(*users);
  if (std::ranges::any_of(outcome.users, &FolderUser::writes)) {
    return MountPolicy::writersIn(outcome.folder, std::move(outcome.users), outcome.clearedStaleMount);
  }

  const auto session = options.foreground ? ChildProgram::Session::shared : ChildProgram::Session::own;
  auto daemon = ChildProgram::start(commandLine(*program, outcome.folder, options), session);
  if (!daemon) return systemFailure("start", *program, daemon.error());
  const auto run = options.foreground ? runInForeground : runInBackground;
  return run(std::move(*daemon), std::move(outcome), stop, onMounted);
}

}  // namespace quillbrook
