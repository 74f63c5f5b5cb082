// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

// Byte counts for people: decimal units, three significant digits, as "512 B", "1.23 kB", "45.6 MB", "-2.00 GB".
namespace quillbrook::SizeText {

[[nodiscard]] std::string text(std::int64_t byteCount);

}  // namespace quillbrook::SizeText
