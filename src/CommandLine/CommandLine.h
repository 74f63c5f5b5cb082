// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>

#include "CommandLine/Io.h"

// quillbrookctl.
namespace quillbrook::CommandLine {

// Reads the arguments (the program's name not among them), does what they say and returns the exit code.
[[nodiscard]] int run(std::span<const std::string> arguments, Io& io);

// The same with this process's arguments, streams and signals.
[[nodiscard]] int runProcess(int argumentCount, const char* const* arguments);

}  // namespace quillbrook::CommandLine
