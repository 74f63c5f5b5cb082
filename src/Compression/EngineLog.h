// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Log.h"

namespace quillbrook {

// Where the engine tells of steps whose failure does not stop it.
inline constexpr Log engineLog{"compression"};

}  // namespace quillbrook
