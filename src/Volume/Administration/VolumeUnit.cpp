// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "Platform/Linux/FolderListing.h"
#include "Platform/Linux/FolderPath.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/SystemCall.h"
#include "Volume/Administration/DaemonProgram.h"
#include "Volume/Administration/MountPolicy.h"
#include "Volume/Administration/MountedVolumes.h"
#include "Volume/Administration/UnitName.h"
#include "Volume/Administration/UnitTemplate.h"
#include "Volume/Administration/UserServiceManager.h"

namespace quillbrook {
namespace {

using UserServiceManager::Reach;

constexpr std::string_view targetName = "default.target.wants";

struct UnitPlaces {
  FilePath folder;  // of unit files
  FilePath wants;   // of the links to what starts at login
  FilePath unitFile;
  FilePath link;
};

UnitPlaces placesOf(const std::string& unit) {
  UnitPlaces places;
  places.folder = MountSurroundings::configurationFolder().appending("systemd/user");
  places.wants = places.folder.appending(targetName);
  places.unitFile = places.folder.appending(UnitName::templateFile);
  places.link = places.wants.appending(unit);
  return places;
}

std::expected<void, VolumeError> putInPlace(const UnitPlaces& places, const FilePath& daemon) {
  std::error_code error;
  std::filesystem::create_directories(places.wants.bytes(), error);
  if (error) return systemFailure("create", places.wants, ErrorNumber{error.value()});
  if (const auto written = SmallFile::replace(places.unitFile, UnitTemplate::filled(UnitName::quoted(daemon)));
      !written) {
    return systemFailure("write", places.unitFile, written.error());
  }
  const std::string target = "../" + std::string(UnitName::templateFile);
  if (::symlink(target.c_str(), places.link.c_str()) != 0 && errno != EEXIST) {
    return systemFailure("create", places.link, ErrorNumber{errno});
  }
  return {};
}

// Whether any folder is enabled still.
Result<bool> hasInstances(const UnitPlaces& places) {
  const auto folder = SystemCall::openAt(AT_FDCWD, places.wants.c_str(), O_PATH | O_DIRECTORY);
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

std::expected<void, VolumeError> takeAway(const UnitPlaces& places) {
  if (::unlink(places.link.c_str()) != 0 && errno != ENOENT) {
    return systemFailure("remove", places.link, ErrorNumber{errno});
  }
  const auto isNeeded = hasInstances(places);
  if (!isNeeded) return systemFailure("read", places.wants, isNeeded.error());
  if (*isNeeded) return {};
  if (::unlink(places.unitFile.c_str()) != 0 && errno != ENOENT) {
    return systemFailure("remove", places.unitFile, ErrorNumber{errno});
  }
  return {};
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
  if (const auto placed = putInPlace(places, *daemon); !placed) return std::unexpected(placed.error());
  if (outcome.reach != Reach::running) return outcome;
  if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return std::unexpected(told.error());
  // A second daemon would be refused again and again, and nobody would be told.
  const auto volumes = MountedVolumes::read();
  if (!volumes) return MountedVolumes::failure(volumes.error());
  outcome.isMountedAlready = MountedVolumes::at(*volumes, *resolved) != nullptr;
  std::vector<std::string> command{"enable", outcome.unit};
  if (!outcome.isMountedAlready) command.emplace_back("--now");
  if (const auto told = UserServiceManager::run(command); !told) return std::unexpected(told.error());
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
  outcome.wasEnabled = ::faccessat(AT_FDCWD, places.link.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
  const bool isManaged = outcome.reach == Reach::running;
  if (isManaged && ::access(places.unitFile.c_str(), F_OK) == 0) {
    if (const auto told = UserServiceManager::run({"disable", "--now", outcome.unit}); !told)
      return std::unexpected(told.error());
  }
  if (const auto taken = takeAway(places); !taken) return std::unexpected(taken.error());
  if (isManaged) {
    if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return std::unexpected(told.error());
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
