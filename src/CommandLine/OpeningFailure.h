// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Platform/ErrorNumber.h"

// Why a file or folder that somebody named cannot be looked into.
namespace quillbrook::OpeningFailure {

// For people, without the name: what is wrong, what to do, and the system's words.
[[nodiscard]] std::string sentence(ErrorNumber reason);

}  // namespace quillbrook::OpeningFailure
