// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

// Compresses or decompresses files and what lies in folders, several at once. One thread walks, up to eight work, and
// the caller's prints; bounded queues between them keep memory flat on trees of any size.
namespace quillbrook::Operation {

// Returns the exit code.
[[nodiscard]] int run(const OperationCommand& command, Io& io);

}  // namespace quillbrook::Operation
