// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include "Discovery/DateUnit.h"
#include "Discovery/ExtensionPreset.h"

// The values of options as people type them.
namespace quillbrook::OptionValues {

// What the option takes, for whoever gave it something else; empty for one that takes nothing.
[[nodiscard]] std::string_view expected(std::string_view option);

struct Age {
  int value = 0;
  DateUnit unit = DateUnit::year;
};

// "6months", "1year"; the plural is as good as the singular. Nothing for any other text.
[[nodiscard]] std::optional<Age> age(std::string_view text);

// "all", "text", "sourceCode", "binary".
[[nodiscard]] std::optional<ExtensionPreset> preset(std::string_view name);

}  // namespace quillbrook::OptionValues
