// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// Bits of FileStatus::st_flags. The lower half belongs to the user, the upper half to the super-user.
inline constexpr std::uint32_t UF_NODUMP = 0x00000001;
inline constexpr std::uint32_t UF_COMPRESSED = 0x00000020;
inline constexpr std::uint32_t SF_IMMUTABLE = 0x00020000;
inline constexpr std::uint32_t SF_APPEND = 0x00040000;
inline constexpr std::uint32_t userSettableFlags = 0x0000FFFF;

}  // namespace quillbrook
