// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>

#include "App/AppSurroundings.h"

// The application: one executable for the window and for the unattended run.
namespace quillbrook::QuillbrookApp {

// The whole of it, in the main thread; `arguments` are a process's own, the program's path first. Returns the exit
// code: 0, 1, or 128 plus the number of the signal that stopped an unattended run.
[[nodiscard]] int run(std::span<const std::string> arguments, const AppSurroundings& surroundings);

// The same with this process's streams and signals.
[[nodiscard]] int runProcess(std::span<const std::string> arguments);

}  // namespace quillbrook::QuillbrookApp
