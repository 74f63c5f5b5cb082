// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/UserServiceManager.h"
#include "Platform/Linux/UserUnit.h"
#include "Volume/Administration/DaemonProgram.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/UnitName.h"
#include "Volume/Administration/UnitTemplate.h"

namespace quillbrook {
namespace {

using Reach = ServiceManagerReach;

struct UnitPlaces {
  FilePath unitFile;
  FilePath link;  // to it, from what starts at login
};

UnitPlaces placesOf(const std::string& unit) {
  return {.unitFile = UserUnit::file(UnitName::templateFile), .link = UserUnit::link("default.target", unit)};
}

std::unexpected<VolumeError> failure(const UserUnitError& error) {
  struct Translation {
    VolumeError operator()(const UserUnitErrors::SystemFailure& e) const {
      return VolumeErrors::SystemFailure{e.action, e.path, e.reason};
    }
    VolumeError operator()(const UserUnitErrors::CommandFailed& e) const {
      return VolumeErrors::HelperFailed{e.command, e.exitCode, e.words};
    }
  };
  return std::unexpected(std::visit(Translation{}, error));
}

std::expected<void, UserUnitError> putInPlace(const UnitPlaces& places, const FilePath& daemon) {
  const std::string text = UserUnit::filled(UnitTemplate::text, "{PROGRAM}", UserUnit::quoted(daemon));
  if (auto written = UserUnit::write(places.unitFile, text); !written) return written;
  return UserUnit::enable(places.link, UnitName::templateFile);
}

// Whether any folder is enabled still, of those that have a link in `wants`.
Result<bool> hasInstances(const FilePath& wants) {
  const auto folder = SystemCall::openAt(AT_FDCWD, wants.c_str(), O_PATH | O_DIRECTORY);
  if (!folder && folder.error() == ErrorNumber::noEntry) return false;
  if (!folder) return std::unexpected(folder.error());
  auto listing = FolderListing::open(folder->get());
  if (!listing) return std::unexpected(listing.error());
  for (;;) {
    const auto entry = listing->next();
    if (!entry) return std::unexpected(entry.error());
    if (!*entry) return false;
    if (UnitName::isOfFolder((*entry)->name)) return true;
  }
}

std::expected<void, UserUnitError> takeAway(const UnitPlaces& places) {
  if (auto removed = UserUnit::remove(places.link); !removed) return removed;
  const FilePath wants = places.link.parent();
  const auto isNeeded = hasInstances(wants);
  if (!isNeeded) return std::unexpected(UserUnitErrors::SystemFailure{"read", wants, isNeeded.error()});
  if (*isNeeded) return {};
  return UserUnit::remove(places.unitFile);
}

std::expected<FilePath, VolumeError> resolvedFolder(const FilePath& folder) {
  auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  return *resolved;
}

}  // namespace

std::expected<UnitOutcome, VolumeError> VolumeUnit::enable(const FilePath& folder, bool force) {
  const auto resolved = resolvedFolder(folder);
  if (!resolved) return std::unexpected(resolved.error());
  if (auto admitted = MountPolicy::admit(*resolved, force); !admitted) {
    return std::unexpected(std::move(admitted.error()));
  }
  const auto daemon = DaemonProgram::find();
  if (!daemon) return std::unexpected(daemon.error());
  UnitOutcome outcome{.folder = *resolved,
                      .unit = UnitName::ofFolder(*resolved),
                      .unitFile = {},
                      .reach = UserServiceManager::reach(),
                      .isEnabled = true};
  const UnitPlaces places = placesOf(outcome.unit);
  outcome.unitFile = places.unitFile;
  if (const auto placed = putInPlace(places, *daemon); !placed) return failure(placed.error());
  if (outcome.reach != Reach::running) return outcome;
  if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return failure(told.error());
  // A second daemon would be refused again and again, and nobody would be told.
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  outcome.isMountedAlready = MountedVolumes::at(*volumes, *resolved) != nullptr;
  std::vector<std::string> command{"enable", outcome.unit};
  if (!outcome.isMountedAlready) command.emplace_back("--now");
  if (const auto told = UserServiceManager::run(command); !told) return failure(told.error());
  return outcome;
}

std::expected<UnitOutcome, VolumeError> VolumeUnit::disable(const FilePath& folder) {
  const auto resolved = resolvedFolder(folder);
  if (!resolved) return std::unexpected(resolved.error());
  UnitOutcome outcome{.folder = *resolved,
                      .unit = UnitName::ofFolder(*resolved),
                      .unitFile = {},
                      .reach = UserServiceManager::reach(),
                      .isEnabled = false};
  const UnitPlaces places = placesOf(outcome.unit);
  outcome.unitFile = places.unitFile;
  // What a run that was interrupted left is taken away all the same.
  outcome.wasEnabled = UserUnit::isEnabled(places.link);
  const bool isManaged = outcome.reach == Reach::running;
  if (isManaged && ::access(places.unitFile.c_str(), F_OK) == 0) {
    if (const auto told = UserServiceManager::run({"disable", "--now", outcome.unit}); !told)
      return failure(told.error());
  }
  if (const auto taken = takeAway(places); !taken) return failure(taken.error());
  if (isManaged) {
    if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return failure(told.error());
  }
  return outcome;
}

std::string sentence(const UnitOutcome& outcome) {
  const std::string folder = outcome.folder.displayText();
  if (!outcome.isEnabled && !outcome.wasEnabled) {
    return fmt::format("{} was not enabled: nothing mounts it at login.", folder);
  }
  switch (outcome.reach) {
    case Reach::running:
      if (outcome.isMountedAlready) {
        return fmt::format(
            "{} is mounted already, by a daemon that nobody starts again if it dies; from the next login on, {} does. "
            "To have it so now, unmount it and enable it again.",
            folder, outcome.unit);
      }
      return outcome.isEnabled
                 ? fmt::format("{} is being mounted now, and will be at every login ({}).", folder, outcome.unit)
                 : fmt::format("{} is unmounted now and not mounted at login any more.", folder);
    case Reach::notRunning:
      return outcome.isEnabled
                 ? fmt::format("{} will be mounted at the next login ({}): no service manager of yours is running.",
                               folder, outcome.unit)
                 : fmt::format(
                       "{} will not be mounted at login any more. If it is mounted, it stays so: no "
                       "service manager of yours is running.",
                       folder);
    case Reach::notInstalled:
      return outcome.isEnabled ? fmt::format(
                                     "systemd is not installed, so nothing mounts {} at login yet; the unit {} is in "
                                     "place for when it is.",
                                     folder, outcome.unitFile.displayText())
                               : fmt::format("{} will not be mounted at login; systemd is not installed.", folder);
  }
  return {};
}

}  // namespace quillbrook
