// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/BundleInfo.h"

namespace quillbrook::CommandLineVersion {

using Dictionary = std::function<std::optional<std::string_view>(std::string_view key)>;

// The answer to --version, with a line feed at its end.
[[nodiscard]] std::string text(const Dictionary& information = BundleInfo::string);

}  // namespace quillbrook::CommandLineVersion
