// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

#include "Discovery/ExtensionFilter.h"

namespace quillbrook {

// The groups of extensions that a search offers.
enum class ExtensionPreset : std::uint8_t { all, text, sourceCode, binary };

// Nothing for `all`.
[[nodiscard]] std::optional<ExtensionFilter> filterOf(ExtensionPreset preset);

}  // namespace quillbrook
