// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

// What the build has to say of the program, under the names of a bundle's information dictionary.
namespace quillbrook::BundleInfo {

// "CFBundleShortVersionString" and, where the build was given one, "CFBundleVersion"; nothing for any other key.
// Any thread.
[[nodiscard]] std::optional<std::string_view> string(std::string_view key);

}  // namespace quillbrook::BundleInfo
