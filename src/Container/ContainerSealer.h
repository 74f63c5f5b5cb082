// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "Container/ByteSource.h"
#include "Container/ContainerState.h"

namespace quillbrook::ContainerSealer {

// What stands behind value and fork in a sealed container: their checksums and the trailer. Reads value and fork
// from `source`; `inputOutput` if they are shorter than `state` says. The trailer has no redo identifier.
[[nodiscard]] Result<std::vector<std::uint8_t>> seal(const ByteSource& source, const ContainerState& state);

}  // namespace quillbrook::ContainerSealer
