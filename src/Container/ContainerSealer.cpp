// SPDX-License-Identifier: MIT
#include "Container/ContainerSealer.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "Container/Checksum.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::ContainerSealer {

Result<std::vector<std::uint8_t>> seal(const ByteSource& source, const ContainerState& state) {
  const auto payloadByteCount = state.payloadByteCount();
  std::vector<std::uint8_t> behind(static_cast<std::size_t>(state.rawByteCount() - payloadByteCount));
  std::vector<std::uint8_t> buffer(
      static_cast<std::size_t>(std::min<std::uint64_t>(payloadByteCount, ContainerState::spanByteCount)));
  auto* checksum = behind.data();
  for (std::uint64_t at = 0; at < payloadByteCount; at += buffer.size()) {
    const auto span = std::span(buffer).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), payloadByteCount - at)));
    const auto got = source.read(at, span);
    if (!got) return std::unexpected(got.error());
    if (*got != span.size()) return std::unexpected(ErrorNumber::inputOutput);
    LittleEndian::store(checksum, Checksum::crc32c(span));
    checksum += sizeof(std::uint32_t);
  }
  auto trailer = state;
  trailer.redoIdentifier = 0;
  std::ranges::copy(trailer.encode(), checksum);
  return behind;
}

}  // namespace quillbrook::ContainerSealer
