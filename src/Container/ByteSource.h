// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Platform/ErrorNumber.h"

namespace quillbrook {

// Random access to a container's raw bytes. Implementations are safe to call from several threads at once.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Fills as much of `destination` as there is from `offset` on; less than its size only at the end of the data.
  [[nodiscard]] virtual Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination) const = 0;
};

}  // namespace quillbrook
