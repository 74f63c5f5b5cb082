// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <stop_token>

#include "Container/ContainerReader.h"
#include "Platform/ErrorNumber.h"

// Content moved between files with its runs of zeros left out. Descriptors are open for what is done to them. Any
// thread; errors are those of the calls, and `inputOutput` for a copy that is shorter than it should be.
namespace quillbrook::SparseCopy {

// Zeros are left out in pieces of this size, aligned.
inline constexpr std::uint64_t pageByteCount = 4096;

// Writes everything that `reader` has to the empty file `destination`. A stop answers `cancelled`.
[[nodiscard]] Result<void> decode(const ContainerReader& reader, int destination, const std::stop_token& stop);

// Sets space aside in `file` for what `copy` holds, without changing content or size, so that rewriting it later cannot
// run out of it. A host that cannot do that is no failure.
[[nodiscard]] Result<void> reserve(int file, int copy, std::uint64_t byteCount);

// Makes the content of `file` that of `copy`, `byteCount` long, sharing the blocks where the host can.
[[nodiscard]] Result<void> rewrite(int file, int copy, std::uint64_t byteCount);

}  // namespace quillbrook::SparseCopy
