// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// What is in a folder: search, count. Change nothing; each returns the exit code.
namespace quillbrook::SearchCommands {

[[nodiscard]] int run(const SearchCommand& command, Io& io);
[[nodiscard]] int run(const CountCommand& command, Io& io);

}  // namespace quillbrook::SearchCommands
