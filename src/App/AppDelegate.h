// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>
#include <string>

#include "App/AppSurroundings.h"

// What the application does once it has been launched.
namespace quillbrook::AppDelegate {

// With the arguments of the unattended run, does that run over AppContext's store and returns the process's exit code:
// the run's, or 128 plus the number of the signal that stopped it. With others does nothing. Main thread.
[[nodiscard]] std::optional<int> applicationDidFinishLaunching(std::span<const std::string> arguments,
                                                               const AppSurroundings& surroundings);

}  // namespace quillbrook::AppDelegate
