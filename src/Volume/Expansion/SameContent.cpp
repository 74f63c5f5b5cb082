// SPDX-License-Identifier: MIT
#include "Volume/Expansion/SameContent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <span>
#include <vector>

#include "Platform/Linux/DescriptorSource.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook {

Result<bool> haveSameContent(int first, int second) {
  const auto a = SystemCall::status(first);
  if (!a) return std::unexpected(a.error());
  const auto b = SystemCall::status(second);
  if (!b) return std::unexpected(b.error());
  if (!S_ISREG(a->st_mode) || !S_ISREG(b->st_mode) || a->st_size != b->st_size) return false;

  // The next byte that is not a hole; without one, or where the host cannot tell, it is read.
  const auto dataBehind = [end = a->st_size](int file, std::uint64_t offset) {
    const off_t data = ::lseek(file, static_cast<off_t>(offset), SEEK_DATA);
    if (data == -1) return errno == ENXIO ? static_cast<std::uint64_t>(end) : offset;
    return static_cast<std::uint64_t>(data);
  };
  constexpr std::size_t chunkByteCount = 1U << 18U;
  std::vector<std::uint8_t> fromFirst(chunkByteCount);
  std::vector<std::uint8_t> fromSecond(chunkByteCount);
  for (std::uint64_t offset = 0;; offset += chunkByteCount) {
    offset = std::min(dataBehind(first, offset), dataBehind(second, offset));
    const auto one = DescriptorSource(first).read(offset, fromFirst);
    if (!one) return std::unexpected(one.error());
    const auto other = DescriptorSource(second).read(offset, fromSecond);
    if (!other) return std::unexpected(other.error());
    if (!std::ranges::equal(std::span(fromFirst).first(*one), std::span(fromSecond).first(*other))) return false;
    if (*one < chunkByteCount) return true;
  }
}

}  // namespace quillbrook
