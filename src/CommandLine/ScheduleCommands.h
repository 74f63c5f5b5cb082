// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// The verbs of `schedule`. Each returns the exit code.
namespace quillbrook::ScheduleCommands {

[[nodiscard]] int run(const ScheduleEnableCommand& command, Io& io);
[[nodiscard]] int run(const ScheduleDisableCommand& command, Io& io);
[[nodiscard]] int run(const ScheduleStatusCommand& command, Io& io);

}  // namespace quillbrook::ScheduleCommands
