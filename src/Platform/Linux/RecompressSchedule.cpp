// SPDX-License-Identifier: MIT
#include "Platform/RecompressSchedule.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ranges>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/DateText.h"
#include "Platform/Linux/InstalledProgram.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/ScheduleTemplate.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/UserServiceManager.h"
#include "Platform/Linux/UserUnit.h"

namespace quillbrook {
namespace {

using Reach = ServiceManagerReach;

constexpr const char* serviceName = "quillbrook-recompress.service";
constexpr const char* timerName = "quillbrook-recompress.timer";

struct SchedulePlaces {
  FilePath service = UserUnit::file(serviceName);
  FilePath timer = UserUnit::file(timerName);
  FilePath link = UserUnit::link("timers.target", timerName);  // to the timer
};

std::unexpected<ScheduleError> failure(const UserUnitError& error) {
  struct Translation {
    ScheduleError operator()(const UserUnitErrors::SystemFailure& e) const {
      return ScheduleErrors::SystemFailure{e.action, e.path, e.reason};
    }
    ScheduleError operator()(const UserUnitErrors::CommandFailed& e) const {
      return ScheduleErrors::CommandFailed{e.command, e.exitCode, e.words};
    }
  };
  return std::unexpected(std::visit(Translation{}, error));
}

// The link comes last, and goes first: where it is, the rest is.
std::expected<void, UserUnitError> putInPlace(const SchedulePlaces& places, const FilePath& program,
                                              ScheduleInterval interval) {
  const std::string service = UserUnit::filled(ScheduleTemplate::service, "{PROGRAM}", UserUnit::quoted(program));
  const std::string timer = UserUnit::filled(ScheduleTemplate::timer, "{CALENDAR}", name(interval));
  if (auto written = UserUnit::write(places.service, service); !written) return written;
  if (auto written = UserUnit::write(places.timer, timer); !written) return written;
  return UserUnit::enable(places.link, timerName);
}

std::expected<void, UserUnitError> takeAway(const SchedulePlaces& places) {
  for (const FilePath& path : {places.link, places.timer, places.service}) {
    if (auto removed = UserUnit::remove(path); !removed) return removed;
  }
  return {};
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blank = " \t\r";
  const std::size_t first = std::min(text.find_first_not_of(blank), text.size());
  return text.substr(first, text.find_last_not_of(blank) + 1 - first);
}

// What stands behind `key` and "=" in each line of the text.
std::vector<std::string_view> valuesOf(std::string_view text, std::string_view key) {
  std::vector<std::string_view> values;
  for (const auto part : std::views::split(text, '\n')) {
    const std::string_view line(part.begin(), part.end());
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || trimmed(line.substr(0, equals)) != key) continue;
    values.push_back(trimmed(line.substr(equals + 1)));
  }
  return values;
}

// Every line of a timer adds dates; an empty one drops those before it.
std::string calendarOf(std::string_view timer) {
  std::string calendar;
  for (const std::string_view value : valuesOf(timer, "OnCalendar")) {
    if (value.empty()) {
      calendar.clear();
    } else {
      calendar += calendar.empty() ? "" : ", ";
      calendar += value;
    }
  }
  return calendar;
}

// A date of the manager's, "@1764461840"; it has several ways to write that there is none.
std::optional<Timestamp> dateOf(std::string_view properties, std::string_view key) {
  const auto values = valuesOf(properties, key);
  if (values.empty() || !values.front().starts_with('@')) return std::nullopt;
  const auto seconds = parsedNumber<std::int64_t>(values.front().substr(1));
  constexpr std::int64_t endOfDates = 253'402'300'800;  // of the year 9999
  if (!seconds || *seconds < 0 || *seconds >= endOfDates) return std::nullopt;
  return Timestamp{.seconds = *seconds, .nanoseconds = 0};
}

std::string disabledSentence(const ScheduleOutcome& outcome) {
  if (!outcome.wasEnabled) return "The unattended run was not scheduled: nothing of this user's starts it.";
  switch (outcome.reach) {
    case Reach::running:
      return "The unattended run is not scheduled any more; one that is under way goes on to its end.";
    case Reach::notRunning:
      return "The unattended run is not scheduled any more: no service manager of yours is running, and the next will "
             "not know of it.";
    case Reach::notInstalled: break;
  }
  return "The unattended run is not scheduled any more; systemd is not installed, so if crontab starts it, remove its "
         "line there.";
}

}  // namespace

std::expected<ScheduleOutcome, ScheduleError> RecompressSchedule::enable(ScheduleInterval interval) {
  auto program = InstalledProgram::find("quillbrook");
  if (!program) return std::unexpected(ScheduleErrors::ProgramMissing{std::move(program.error())});
  const SchedulePlaces places;
  ScheduleOutcome outcome{.timerFile = places.timer,
                          .serviceFile = places.service,
                          .reach = UserServiceManager::reach(),
                          .interval = interval,
                          .wasEnabled = UserUnit::isEnabled(places.link)};
  if (const auto placed = putInPlace(places, *program, interval); !placed) return failure(placed.error());
  if (outcome.reach != Reach::running) return outcome;
  if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return failure(told.error());
  // One that waits already begins anew, with the dates that it has now.
  if (const auto told = UserServiceManager::run({"restart", timerName}); !told) return failure(told.error());
  return outcome;
}

std::expected<ScheduleOutcome, ScheduleError> RecompressSchedule::disable() {
  const SchedulePlaces places;
  ScheduleOutcome outcome{.timerFile = places.timer,
                          .serviceFile = places.service,
                          .reach = UserServiceManager::reach(),
                          .interval = std::nullopt,
                          .wasEnabled = UserUnit::isEnabled(places.link)};
  const bool isManaged = outcome.reach == Reach::running;
  if (isManaged) {
    // It refuses to stop what it does not know, and a timer may wait whose file is gone already.
    const auto known = UserServiceManager::run({"show", timerName, "--property=ActiveState", "--value"});
    if (!known) return failure(known.error());
    if (!known->starts_with("inactive")) {
      if (const auto told = UserServiceManager::run({"stop", timerName}); !told) return failure(told.error());
    }
  }
  if (const auto taken = takeAway(places); !taken) return failure(taken.error());
  if (isManaged) {
    if (const auto told = UserServiceManager::run({"daemon-reload"}); !told) return failure(told.error());
  }
  return outcome;
}

std::expected<ScheduleStatus, ScheduleError> RecompressSchedule::status() {
  const SchedulePlaces places;
  ScheduleStatus status;
  status.timerFile = places.timer;
  status.serviceFile = places.service;
  status.reach = UserServiceManager::reach();
  if (UserUnit::isEnabled(places.link)) {
    // The file of the user's own comes first, whatever the link leads to; without one it is the distribution's.
    auto timer = SmallFile::read(places.timer);
    if (!timer && timer.error() == ErrorNumber::noEntry) timer = SmallFile::read(places.link);
    if (!timer && timer.error() != ErrorNumber::noEntry) {
      return std::unexpected(ScheduleErrors::SystemFailure{"read", places.timer, timer.error()});
    }
    status.isEnabled = timer.has_value();
    status.calendar = calendarOf(timer.value_or(""));
    status.interval = scheduleInterval(status.calendar);
  }
  if (status.reach != Reach::running) return status;
  const auto dates = UserServiceManager::run(
      {"show", timerName, "--timestamp=unix", "--property=NextElapseUSecRealtime,LastTriggerUSec"});
  if (!dates) return failure(dates.error());
  status.nextRun = dateOf(*dates, "NextElapseUSecRealtime");
  status.lastRun = dateOf(*dates, "LastTriggerUSec");
  return status;
}

std::string sentence(const ScheduleOutcome& outcome) {
  if (!outcome.interval) return disabledSentence(outcome);
  const auto interval = name(*outcome.interval);
  switch (outcome.reach) {
    case Reach::running:
      return fmt::format("The unattended run is scheduled {}, on mains power ({}).", interval, timerName);
    case Reach::notRunning:
      return fmt::format(
          "The unattended run will be scheduled {}, on mains power, from the next login on ({}): no service manager of "
          "yours is running.",
          interval, timerName);
    case Reach::notInstalled:
      return fmt::format(
          "systemd is not installed, so nothing starts the unattended run yet; {} is in place for when it is. Until "
          "then let crontab start it: quillbrook(1) has the lines.",
          outcome.timerFile.displayText());
  }
  return {};
}

std::string sentence(const ScheduleStatus& status) {
  const bool hasSystemd = status.reach != Reach::notInstalled;
  if (!status.isEnabled) {
    return hasSystemd
               ? "The unattended run is not scheduled: `quillbrookctl schedule enable` does that."
               : "The unattended run is not scheduled. systemd is not installed: quillbrook(1) has the lines with "
                 "which crontab starts it.";
  }
  const std::string text = fmt::format("The unattended run is scheduled, {} ({}).",
                                       status.calendar.empty() ? "without a calendar" : status.calendar, timerName);
  switch (status.reach) {
    case Reach::running:
      return fmt::format("{} {} Last: {}.", text,
                         status.nextRun ? fmt::format("Next: {}.", DateText::localText(*status.nextRun))
                                        : "Your service manager has no date for it, though: enable it again.",
                         status.lastRun ? DateText::localText(*status.lastRun) : "never");
    case Reach::notRunning:
      return text + " Nothing starts it before the next login: no service manager of yours is running.";
    case Reach::notInstalled:
      return text + " Nothing starts it, since systemd is not installed: quillbrook(1) has the lines for crontab.";
  }
  return {};
}

}  // namespace quillbrook
