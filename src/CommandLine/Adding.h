// SPDX-License-Identifier: MIT
#pragma once

#include "CommandLine/Command.h"
#include "CommandLine/Io.h"
#include "Models/StoreContext.h"

// Registers one named place after the other, and asks where a cloud service mirrors it.
namespace quillbrook::Adding {

// Returns the exit code.
[[nodiscard]] int run(const AddCommand& command, StoreContext& context, Io& io);

}  // namespace quillbrook::Adding
