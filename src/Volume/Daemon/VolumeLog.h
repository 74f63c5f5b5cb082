// SPDX-License-Identifier: MIT
#pragma once

#include "Platform/Log.h"

namespace quillbrook {

// What a daemon in the background has to say, with nobody at its standard error.
inline constexpr Log volumeLog{"volume"};

}  // namespace quillbrook
