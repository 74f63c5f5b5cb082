// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// What the user has registered: add, remove, list. Each returns the exit code.
namespace quillbrook::RegistryCommands {

[[nodiscard]] int run(const AddCommand& command, Io& io);
[[nodiscard]] int run(const RemoveCommand& command, Io& io);
[[nodiscard]] int run(const ListCommand& command, Io& io);

}  // namespace quillbrook::RegistryCommands
