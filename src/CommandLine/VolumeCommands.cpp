// SPDX-License-Identifier: MIT
#include "CommandLine/VolumeCommands.h"

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "CommandLine/ExitCode.h"
#include "CommandLine/JsonLines.h"
#include "CommandLine/PathText.h"
#include "CommandLine/SizeText.h"

namespace quillbrook::VolumeCommands {
namespace {

int fail(const VolumeError& error, Io& io) {
  if (std::holds_alternative<VolumeErrors::Stopped>(error)) {
    io.err << "quillbrookctl: stopped; nothing is half done, and the same command can be given again\n";
    return ExitCode::signalBase + io.stopSignal;
  }
  io.err << "quillbrookctl: " << PathText::shownMessage(sentence(error), io.errIsTerminal) << '\n';
  return ExitCode::failed;
}

int report(const std::expected<UnitOutcome, VolumeError>& outcome, Io& io) {
  if (!outcome) return fail(outcome.error(), io);
  io.out << PathText::shownMessage(sentence(*outcome), io.outIsTerminal) << '\n';
  return ExitCode::done;
}

void printMounted(const MountOutcome& outcome, Io& io) {
  if (outcome.clearedStaleMount) {
    io.err << "quillbrookctl: cleared a mount whose daemon had died\n";
  }
  if (!outcome.users.empty()) {
    io.err << "quillbrookctl: these were here before and see past the mount until they open things anew:\n";
    for (const FolderUser& user : outcome.users) {
      io.err << "  " << PathText::shownMessage(sentence(user), io.errIsTerminal) << '\n';
    }
  }
  if (!outcome.words.empty()) {
    io.err << PathText::shownMessage(outcome.words, io.errIsTerminal) << (outcome.words.ends_with('\n') ? "" : "\n");
  }
  io.out << (outcome.wasMounted ? "already mounted: " : "mounted ") << PathText::shown(outcome.folder, io.outIsTerminal)
         << '\n'
         << std::flush;  // in the foreground it is long before the next
}

std::string_view conditionWords(const VolumeListing& volume) {
  switch (volume.condition) {
    case VolumeListing::Condition::alive: return volume.isReadOnly ? "mounted, read-only" : "mounted";
    case VolumeListing::Condition::stale: return "its daemon has died; 'quillbrookctl volume mount' clears it";
    case VolumeListing::Condition::silent: return "its daemon does not answer; see whether its process is stopped";
    case VolumeListing::Condition::closed: break;
  }
  return "another user's";
}

// What other programs lose with the mount, as a line; empty if nothing.
std::string unreadableWords(const UnmountOutcome& outcome) {
  if (!outcome.compressedFiles) {
    return "quillbrookctl: compressed files, of unknown number, cannot be read by other programs until it is mounted "
           "again\n";
  }
  if (*outcome.compressedFiles == 0 && outcome.unread == 0) return {};
  return fmt::format("quillbrookctl: until it is mounted again, other programs cannot read {}{} compressed {}\n",
                     outcome.unread > 0 ? "at least " : "", *outcome.compressedFiles,
                     *outcome.compressedFiles == 1 ? "file" : "files");
}

}  // namespace

int run(const VolumeMountCommand& command, Io& io) {
  const auto outcome = io.volumes.mount(command.folder, command.options, io.stop,
                                        [&](const MountOutcome& mounted) { printMounted(mounted, io); });
  if (!outcome) return fail(outcome.error(), io);
  // In the foreground the signal is the way to end the volume, and still the caller's to know of.
  if (io.stop.stop_requested()) return ExitCode::signalBase + io.stopSignal;
  return ExitCode::done;
}

int run(const VolumeUnmountCommand& command, Io& io) {
  const auto outcome = io.volumes.unmount(command.folder, io.stop, [&](const UnmountOutcome& counted) {
    io.err << PathText::shownMessage(unreadableWords(counted), io.errIsTerminal);
  });
  if (!outcome) return fail(outcome.error(), io);
  io.out << "unmounted " << PathText::shown(outcome->folder, io.outIsTerminal) << '\n';
  if (outcome->isServedElsewhere) {
    io.err << "quillbrookctl: its daemon has not ended yet, since another mount of the volume is there (a bind mount, "
              "or one in another namespace); it ends with the last of them\n";
  }
  return ExitCode::done;
}

int run(const VolumeListCommand& command, Io& io) {
  const auto volumes = io.volumes.list();
  if (!volumes) {
    io.err << "quillbrookctl: cannot read the mount table; see whether /proc is mounted: " << volumes.error().text()
           << '\n';
    return ExitCode::failed;
  }
  for (const VolumeListing& volume : *volumes) {
    if (command.json) {
      io.out << JsonLines::volume(volume) << '\n';
    } else {
      io.out << fmt::format("{}  ({})\n", PathText::shown(volume.mountPoint, io.outIsTerminal), conditionWords(volume));
    }
  }
  return ExitCode::done;
}

int run(const VolumeCheckCommand& command, Io& io) {
  const auto result = io.volumes.check(
      command.folder,
      [&](const CheckFinding& finding) {
        if (command.json) {
          io.out << JsonLines::finding(finding) << '\n';
        } else {
          io.out << PathText::shown(finding.path, io.outIsTerminal) << ": "
                 << PathText::shownMessage(sentence(finding), io.outIsTerminal) << '\n';
        }
      },
      io.stop);
  if (!result) return fail(result.error(), io);
  if (command.json) {
    io.out << JsonLines::checkSummary(*result) << '\n';
  } else {
    io.out << fmt::format("checked {} {}, {} of them compressed ({}): {} damaged, {} unreadable, {} {}\n",
                          result->files, result->files == 1 ? "file" : "files", result->containers,
                          SizeText::text(static_cast<std::int64_t>(result->logicalBytes)), result->damaged,
                          result->unreadable, result->notes, result->notes == 1 ? "note" : "notes");
  }
  if (result->damaged > 0) return ExitCode::damageFound;
  return result->unreadable > 0 ? ExitCode::filesFailed : ExitCode::done;
}

int run(const VolumeRestoreCommand& command, Io& io) {
  std::uint64_t restored = 0;
  std::uint64_t failed = 0;
  const auto result = io.volumes.restore(
      command.folder,
      [&](const RestoreEvent& event) {
        restored += event.outcome == RestoreEvent::Outcome::restored ? 1 : 0;
        failed += event.outcome == RestoreEvent::Outcome::failed ? 1 : 0;
        const std::string path = PathText::shown(event.path, io.errIsTerminal);
        if (event.outcome == RestoreEvent::Outcome::failed) {
          io.err << fmt::format("quillbrookctl: cannot restore {}: {}\n", path,
                                PathText::shownMessage(event.detail, io.errIsTerminal));
        }
        if (event.appended) {
          io.err << fmt::format("quillbrookctl: bytes that stood behind the content of {} are kept in {}\n", path,
                                PathText::shown(*event.appended, io.errIsTerminal));
        }
      },
      io.stop);
  // What a stopped run has done is done; one that was refused has done nothing.
  if (result || std::holds_alternative<VolumeErrors::Stopped>(result.error())) {
    io.out << fmt::format("restored {} {}\n", restored, restored == 1 ? "file" : "files");
    if (failed > 0) io.out << fmt::format("failed: {}\n", failed);
  }
  if (!result) return fail(result.error(), io);
  return failed > 0 ? ExitCode::filesFailed : ExitCode::done;
}

int run(const VolumeEnableCommand& command, Io& io) {
  return report(io.volumes.enable(command.folder, command.force), io);
}

int run(const VolumeDisableCommand& command, Io& io) {
  return report(io.volumes.disable(command.folder), io);
}

}  // namespace quillbrook::VolumeCommands
