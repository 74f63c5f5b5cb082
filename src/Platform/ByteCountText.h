// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

// Byte counts for people, in decimal units. Any thread, whatever the locale.
namespace quillbrook::ByteCountText {

// "0 B" to "999 B", then whole kilobytes, one decimal of megabytes, two of everything greater, halves to the even
// digit; zeros at the end are left out: "12 KB", "1.5 MB", "2 GB". `byteCount` is not negative.
[[nodiscard]] std::string fileStyle(std::int64_t byteCount);

}  // namespace quillbrook::ByteCountText
