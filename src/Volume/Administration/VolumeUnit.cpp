// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeUnit.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Volume/Administration/ChildProgram.h"
#include "Volume/Administration/DaemonProgram.h"
#include "Volume/Administration/FolderPath.h"
#include "Volume/Administration/MountRecords.h"
#include "Volume/Administration/ParsedNumber.h"
#include "Volume/Administration/SmallFile.h"
#include "Volume/Administration/UnitTemplate.h"

namespace quillbrook {
namespace {

constexpr std::string_view templateName = "quillbrook-volume@.service";
constexpr std::string_view targetName = "default.target.wants";

bool isPlain(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == ':' ||
         byte == '_' || byte == '.';
}

std::string unitName(const FilePath& folder) {
  return fmt::format("quillbrook-volume@{}.service", VolumeUnit::escapedPath(folder));
}

// systemd.syntax(7) and systemd.service(5): what stands between double quotes, with "%" taken as it is.
std::string quoted(const FilePath& program) {
  std::string text = "\"";
  for (const char byte : program.bytes()) {
    if (byte == '"' || byte == '\\') text += '\\';
    if (byte == '%') text += byte;
    text += byte;
  }
  return text + '"';
}

struct UnitPlaces {
  FilePath folder;  // of unit files
  FilePath wants;   // of the links to what starts at login
  FilePath unitFile;
  FilePath link;
};

UnitPlaces placesOf(const std::string& unit) {
  UnitPlaces places;
  places.folder = MountSurroundings::current().configuration.appending("systemd/user");
  places.wants = places.folder.appending(targetName);
  places.unitFile = places.folder.appending(templateName);
  places.link = places.wants.appending(unit);
  return places;
}

std::expected<void, VolumeError> putInPlace(const UnitPlaces& places, const FilePath& daemon) {
  std::error_code error;
  std::filesystem::create_directories(places.wants.bytes(), error);
  if (error) return systemFailure("create", places.wants, ErrorNumber{error.value()});
  if (const auto written = SmallFile::replace(places.unitFile, UnitTemplate::filled(quoted(daemon))); !written) {
    return systemFailure("write", places.unitFile, written.error());
  }
  const std::string target = "../" + std::string(templateName);
  if (::symlink(target.c_str(), places.link.c_str()) != 0 && errno != EEXIST) {
    return systemFailure("create", places.link, ErrorNumber{errno});
  }
  return {};
}

// Whether any folder is enabled still.
bool hasInstances(const UnitPlaces& places) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(places.wants.bytes(), error)) {
    const std::string name = entry.path().filename().native();
    if (name.starts_with("quillbrook-volume@") && name.ends_with(".service")) return true;
  }
  return static_cast<bool>(error) && error != std::errc::no_such_file_or_directory;
}

std::expected<void, VolumeError> takeAway(const UnitPlaces& places) {
  if (::unlink(places.link.c_str()) != 0 && errno != ENOENT) {
    return systemFailure("remove", places.link, ErrorNumber{errno});
  }
  if (hasInstances(places)) return {};
  if (::unlink(places.unitFile.c_str()) != 0 && errno != ENOENT) {
    return systemFailure("remove", places.unitFile, ErrorNumber{errno});
  }
  return {};
}

// Runs `systemctl --user`; nothing if it cannot be run.
std::optional<std::pair<int, std::string>> systemctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"systemctl", "--user"});
  auto child = ChildProgram::start(arguments, ChildProgram::Session::own);
  if (!child) return std::nullopt;
  const int exitCode = child->wait();
  return std::pair(exitCode, child->words());
}

// A manager that answers has a state, whatever it is; without one the call fails without a word on what it is.
UnitOutcome::Reach reach() {
  const auto answer = systemctl({"show", "--property=Version", "--value"});
  if (!answer) return UnitOutcome::Reach::noSystemd;
  return answer->first == 0 ? UnitOutcome::Reach::manager : UnitOutcome::Reach::nextLogin;
}

std::expected<void, VolumeError> tell(const std::vector<std::string>& arguments) {
  const auto answer = systemctl(arguments);
  if (answer && answer->first == 0) return {};
  std::string command = "systemctl --user";
  for (const std::string& argument : arguments) command += ' ' + argument;
  return std::unexpected(
      VolumeErrors::HelperFailed{std::move(command), answer ? answer->first : 127, answer ? answer->second : ""});
}

std::expected<FilePath, VolumeError> resolvedFolder(const FilePath& folder) {
  auto resolved = FolderPath::resolve(folder);
  if (!resolved) return std::unexpected(VolumeErrors::NotAFolder{folder, resolved.error()});
  return *resolved;
}

std::expected<void, VolumeError> admit(const FilePath& folder, bool force) {
  const FileDescriptor opened(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!opened.isOpen()) return std::unexpected(VolumeErrors::NotAFolder{folder, ErrorNumber{errno}});
  const auto table = MountRecords::read();
  if (!table) return systemFailure("read", FilePath("/proc/self/mountinfo"), table.error());
  return MountPolicy::check(folder, MountSurroundings::current(), *table, force);
}

}  // namespace

std::string VolumeUnit::escapedPath(const FilePath& folder) {
  std::string escaped;
  bool isSeparated = false;
  for (const char byte : folder.bytes()) {
    if (byte == '/') {
      isSeparated = true;
      continue;
    }
    if (isSeparated && !escaped.empty()) escaped += '-';
    isSeparated = false;
    if (isPlain(byte) && !(byte == '.' && escaped.empty())) {
      escaped += byte;
    } else {
      escaped += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
  }
  return escaped.empty() ? "-" : escaped;
}

FilePath VolumeUnit::unescapedPath(std::string_view escaped) {
  if (escaped.empty()) return {};
  if (escaped == "-") return FilePath("/");
  std::string path = "/";
  while (!escaped.empty()) {
    std::size_t taken = 1;
    if (escaped.starts_with("\\x")) {
      const auto byte = parsedNumber<std::uint8_t>(escaped.substr(2, 2), 16);
      if (!byte || escaped.size() < 4) return {};
      path += static_cast<char>(*byte);
      taken = 4;
    } else if (escaped.front() == '-') {
      path += '/';
    } else if (isPlain(escaped.front())) {
      path += escaped.front();
    } else {
      return {};
    }
    escaped.remove_prefix(taken);
  }
  return FilePath(std::move(path));
}

std::expected<UnitOutcome, VolumeError> VolumeUnit::enable(const FilePath& folder, bool force) {
  const auto resolved = resolvedFolder(folder);
  if (!resolved) return std::unexpected(resolved.error());
  if (const auto admitted = admit(*resolved, force); !admitted) return std::unexpected(admitted.error());
  const auto daemon = DaemonProgram::find();
  if (!daemon) return std::unexpected(daemon.error());
  UnitOutcome outcome{.folder = *resolved, .unit = unitName(*resolved), .unitFile = {}, .reach = reach()};
  const UnitPlaces places = placesOf(outcome.unit);
  outcome.unitFile = places.unitFile;
  if (const auto placed = putInPlace(places, *daemon); !placed) return std::unexpected(placed.error());
  if (outcome.reach != UnitOutcome::Reach::manager) return outcome;
  if (const auto told = tell({"daemon-reload"}); !told) return std::unexpected(told.error());
  if (const auto told = tell({"enable", "--now", outcome.unit}); !told) return std::unexpected(told.error());
  return outcome;
}

std::expected<UnitOutcome, VolumeError> VolumeUnit::disable(const FilePath& folder) {
  const auto resolved = resolvedFolder(folder);
  if (!resolved) return std::unexpected(resolved.error());
  UnitOutcome outcome{.folder = *resolved, .unit = unitName(*resolved), .unitFile = {}, .reach = reach()};
  const UnitPlaces places = placesOf(outcome.unit);
  outcome.unitFile = places.unitFile;
  const bool isManaged = outcome.reach == UnitOutcome::Reach::manager;
  if (isManaged && ::access(places.unitFile.c_str(), F_OK) == 0) {
    if (const auto told = tell({"disable", "--now", outcome.unit}); !told) return std::unexpected(told.error());
  }
  if (const auto taken = takeAway(places); !taken) return std::unexpected(taken.error());
  if (isManaged) {
    if (const auto told = tell({"daemon-reload"}); !told) return std::unexpected(told.error());
  }
  return outcome;
}

std::string sentence(const UnitOutcome& outcome, bool enabled) {
  const std::string folder = outcome.folder.displayText();
  switch (outcome.reach) {
    case UnitOutcome::Reach::manager:
      return enabled ? fmt::format("{} is being mounted now, and will be at every login ({}).", folder, outcome.unit)
                     : fmt::format("{} is unmounted now and not mounted at login any more.", folder);
    case UnitOutcome::Reach::nextLogin:
      return enabled ? fmt::format("{} will be mounted at the next login ({}): no service manager of yours is running.",
                                   folder, outcome.unit)
                     : fmt::format(
                           "{} will not be mounted at login any more. If it is mounted, it stays so: no "
                           "service manager of yours is running.",
                           folder);
    case UnitOutcome::Reach::noSystemd:
      return enabled ? fmt::format(
                           "systemd is not installed, so nothing mounts {} at login yet; the unit {} is in "
                           "place for when it is.",
                           folder, outcome.unitFile.displayText())
                     : fmt::format("{} will not be mounted at login; systemd is not installed.", folder);
  }
  return {};
}

}  // namespace quillbrook
