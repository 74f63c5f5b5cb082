// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

enum class FileKind : std::uint8_t { regular, directory, symbolicLink, other };

}  // namespace quillbrook
