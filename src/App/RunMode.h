// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace quillbrook {

// What this process is for. Settled once, from its arguments.
enum class RunMode : std::uint8_t { gui, headlessAutoRecompress, help, version };

// `arguments` are those of the process; the first, its own path, is never looked at. Their order has no meaning, help
// goes before version and version before the headless run; what is not known is ignored.
[[nodiscard]] RunMode runMode(std::span<const std::string> arguments);

}  // namespace quillbrook
