// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

// The two extended attributes that hold a compressed file's payload.
namespace quillbrook::CompressionAttributes {

inline constexpr std::string_view decmpfs = "com.apple.decmpfs";
inline constexpr std::string_view resourceFork = "com.apple.ResourceFork";

}  // namespace quillbrook::CompressionAttributes
