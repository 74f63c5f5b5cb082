// SPDX-License-Identifier: MIT
#pragma once

#include "Container/ByteSource.h"

namespace quillbrook {

// The raw bytes of an open file, by pread. Does not own the descriptor.
class DescriptorSource : public ByteSource {
 public:
  explicit DescriptorSource(int descriptor) : descriptor_(descriptor) {}
  [[nodiscard]] Result<std::size_t> read(std::uint64_t offset, std::span<std::uint8_t> destination) const override;

 private:
  int descriptor_;
};

}  // namespace quillbrook
