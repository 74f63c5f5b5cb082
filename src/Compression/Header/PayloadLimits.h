// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// Numbers of the format that engine and container share.
namespace quillbrook::PayloadLimits {

// Bytes of a file that one chunk of its resource fork holds; only the last may hold fewer.
inline constexpr std::size_t blockByteCount = 65'536;

// The longest file that is stored compressed.
inline constexpr std::size_t maximumFileByteCount = 0x7FFFFFFF;

}  // namespace quillbrook::PayloadLimits
