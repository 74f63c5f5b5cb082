// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <optional>
#include <string>

#include "Platform/FilePath.h"
#include "Platform/ScheduleError.h"
#include "Platform/ScheduleInterval.h"
#include "Platform/ServiceManagerReach.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// What enabling or disabling did.
struct ScheduleOutcome {
  FilePath timerFile;
  FilePath serviceFile;
  // Only a running manager took it up; otherwise what was put in place counts from the next login on, once systemd is
  // installed.
  ServiceManagerReach reach = ServiceManagerReach::running;
  std::optional<ScheduleInterval> interval;  // enabled, at this one; otherwise disabled
  bool wasEnabled = false;                   // before

  friend bool operator==(const ScheduleOutcome&, const ScheduleOutcome&) = default;
};

// How things stand.
struct ScheduleStatus {
  FilePath timerFile;  // where they are if they are the user's own
  FilePath serviceFile;
  ServiceManagerReach reach = ServiceManagerReach::running;
  bool isEnabled = false;
  // When it is enabled: the dates as the timer's file has them, "weekly" or what somebody has written instead, and the
  // interval if it is one of them. A drop-in of the user's can still have other dates.
  std::string calendar;
  std::optional<ScheduleInterval> interval;
  // As a running manager tells; nothing if there is none.
  std::optional<Timestamp> nextRun;
  std::optional<Timestamp> lastRun;

  friend bool operator==(const ScheduleStatus&, const ScheduleStatus&) = default;
};

// For the person: what holds now.
[[nodiscard]] std::string sentence(const ScheduleOutcome& outcome);
[[nodiscard]] std::string sentence(const ScheduleStatus& status);

// The systemd user timer that starts the unattended run. Any thread, as long as nobody changes the environment.
namespace RecompressSchedule {

// Writes timer and service into $XDG_CONFIG_HOME/systemd/user, older ones are replaced, and has the timer started, now
// and at every login. Enabled already, it gets the new interval.
[[nodiscard]] std::expected<ScheduleOutcome, ScheduleError> enable(
    ScheduleInterval interval = ScheduleInterval::weekly);
// Stops the timer and removes what enable() writes. Not enabled is no failure. A run that is under way goes on.
[[nodiscard]] std::expected<ScheduleOutcome, ScheduleError> disable();
// Changes nothing.
[[nodiscard]] std::expected<ScheduleStatus, ScheduleError> status();

}  // namespace RecompressSchedule
}  // namespace quillbrook
