// SPDX-License-Identifier: MIT
#include "Platform/Linux/DescriptorSource.h"

#include <unistd.h>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<std::size_t> DescriptorSource::read(std::uint64_t offset, std::span<std::uint8_t> destination) const {
  std::size_t filled = 0;
  while (filled < destination.size()) {
    const auto rest = destination.subspan(filled);
    const auto got = SystemCall::retrying(
        [&] { return ::pread(descriptor_, rest.data(), rest.size(), static_cast<off_t>(offset + filled)); });
    if (got == -1) return SystemCall::failure();
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

}  // namespace quillbrook
