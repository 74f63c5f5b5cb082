// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Timestamp.h"
#include "Platform/UserDefaults.h"

// When and how often the window was opened, for the diagnostics.
namespace quillbrook::LaunchRecord {

inline constexpr DefaultsKey<std::optional<Timestamp>> lastLaunchAt{"lastLaunchAt"};
inline constexpr DefaultsKey<std::optional<Timestamp>> previousLaunchAt{"previousLaunchAt"};
inline constexpr DefaultsKey<std::int64_t> launchCount{"launchCount"};

// One launch more. The first of the three that cannot be written ends it.
[[nodiscard]] Result<void> record(UserDefaults& defaults, Timestamp now);

}  // namespace quillbrook::LaunchRecord
