// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Timestamp.h"
#include "Platform/UserDefaults.h"

// When and how often the window was opened, for the diagnostics.
namespace quillbrook::LaunchRecord {

// One launch more. The first of the three that cannot be written ends it.
[[nodiscard]] Result<void> record(UserDefaults& defaults, Timestamp now);

}  // namespace quillbrook::LaunchRecord
