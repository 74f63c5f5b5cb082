// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>

namespace quillbrook::Checksum {

// CRC-32C (Castagnoli; RFC 3720, appendix B.4: 0xE3069283 for the digits "123456789"). Uses the processor's
// instruction where it has one.
[[nodiscard]] std::uint32_t crc32c(std::span<const std::uint8_t> bytes);

// The same from tables alone; what processors without the instruction run.
[[nodiscard]] std::uint32_t crc32cFromTables(std::span<const std::uint8_t> bytes);

}  // namespace quillbrook::Checksum
