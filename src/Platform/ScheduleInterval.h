// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quillbrook {

// How often the unattended run is made.
enum class ScheduleInterval : std::uint8_t { daily, weekly, monthly };

inline constexpr std::array scheduleIntervals{ScheduleInterval::daily, ScheduleInterval::weekly,
                                              ScheduleInterval::monthly};

// "daily", which is also what people and the system's timers call it.
[[nodiscard]] std::string_view name(ScheduleInterval interval);

// The interval that is called exactly so.
[[nodiscard]] std::optional<ScheduleInterval> scheduleInterval(std::string_view text);

}  // namespace quillbrook
