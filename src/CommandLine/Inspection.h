// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// Shows state, algorithm and sizes of files and of what lies in folders; changes nothing.
namespace quillbrook::Inspection {

// Returns the exit code.
[[nodiscard]] int run(const InspectCommand& command, Io& io);

}  // namespace quillbrook::Inspection
