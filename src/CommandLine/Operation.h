// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"

namespace quillbrook {

// Compresses or decompresses files and what lies in folders, several at once. One thread walks, up to eight work, and
// the caller's prints; bounded queues between them keep memory flat on trees of any size.
namespace Operation {

// Returns the exit code.
[[nodiscard]] int run(const OperationCommand& command, Io& io);

}  // namespace Operation
}  // namespace quillbrook
