// SPDX-License-Identifier: MIT
#include "Platform/ScheduleInterval.h"

namespace quillbrook {

std::string_view name(ScheduleInterval interval) {
  switch (interval) {
    case ScheduleInterval::daily: return "daily";
    case ScheduleInterval::weekly: return "weekly";
    case ScheduleInterval::monthly: break;
  }
  return "monthly";
}

std::optional<ScheduleInterval> scheduleInterval(std::string_view text) {
  for (const ScheduleInterval interval : scheduleIntervals) {
    if (name(interval) == text) return interval;
  }
  return std::nullopt;
}

}  // namespace quillbrook
