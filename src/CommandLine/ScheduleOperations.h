// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <functional>

#include "Platform/RecompressSchedule.h"

namespace quillbrook {

// The schedule of the unattended run as the command line calls it.
struct ScheduleOperations {
  std::function<std::expected<ScheduleOutcome, ScheduleError>(ScheduleInterval)> enable = RecompressSchedule::enable;
  std::function<std::expected<ScheduleOutcome, ScheduleError>()> disable = RecompressSchedule::disable;
  std::function<std::expected<ScheduleStatus, ScheduleError>()> status = RecompressSchedule::status;
};

}  // namespace quillbrook
