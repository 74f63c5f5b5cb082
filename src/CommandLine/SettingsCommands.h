// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// The user's settings: defaults get, defaults set. Each returns the exit code.
namespace quillbrook::SettingsCommands {

[[nodiscard]] int run(const DefaultsGetCommand& command, Io& io);
[[nodiscard]] int run(const DefaultsSetCommand& command, Io& io);

}  // namespace quillbrook::SettingsCommands
