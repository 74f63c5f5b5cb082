// SPDX-License-Identifier: MIT
#include "Container/ContainerRecovery.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <vector>

#include "Compression/Header/DecmpfsHeader.h"
#include "Container/ContainerPayload.h"
#include "Platform/LittleEndian.h"

namespace quillbrook::ContainerRecovery {
namespace {

constexpr std::size_t trailerByteCount = ContainerState::byteCount;
constexpr std::size_t pieceByteCount = std::size_t{1} << 20;

using Head = std::array<std::uint8_t, ContainerState::headByteCount>;

// The state that stands at `offset`, if it can be the trailer of a container that begins at 0 with `head`.
std::optional<ContainerState> trailerAt(std::uint64_t offset, std::span<const std::uint8_t> bytes, const Head& head) {
  const auto state = ContainerState::decode(bytes.first(trailerByteCount));
  if (!state || !state->isSealed() || state->redoIdentifier != 0) return std::nullopt;
  if (state->rawByteCount() != offset + trailerByteCount || state->head != head) return std::nullopt;
  return state;
}

bool matchesItsChecksums(const ByteSource& source, const ContainerState& state) {
  const auto payload = ContainerPayload::open(source, state);
  if (!payload) return false;
  ContainerPayload::Window window;
  const auto end = state.payloadByteCount();
  for (std::uint64_t at = 0; at < end; at += ContainerState::spanByteCount) {
    const auto count = std::min<std::uint64_t>(ContainerState::spanByteCount, end - at);
    if (!payload->view(at, static_cast<std::size_t>(count), end, window)) return false;
  }
  return true;
}

// All places where a trailer stands, in order. The first whose checksums match is the container's; where none does,
// the container is damaged, and the first is the best there is: what was appended comes behind it.
Result<std::optional<ContainerState>> search(const ByteSource& source, std::uint64_t byteCount, const Head& head) {
  std::optional<ContainerState> firstFound;
  std::vector<std::uint8_t> piece(pieceByteCount);
  std::uint64_t offset = DecmpfsHeader::byteCount;
  while (offset + trailerByteCount <= byteCount) {
    const auto got = source.read(offset, piece);
    if (!got) return std::unexpected(got.error());
    const auto bytes = std::span<const std::uint8_t>(piece).first(*got);
    if (bytes.size() < trailerByteCount) break;
    const auto lastStart = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() - trailerByteCount);
    for (auto at = bytes.begin();; ++at) {
      at = std::search(at, lastStart + ContainerState::beginning.size(), ContainerState::beginning.begin(),
                       ContainerState::beginning.end());
      if (at > lastStart) break;
      const auto place = static_cast<std::size_t>(at - bytes.begin());
      const auto state = trailerAt(offset + place, bytes.subspan(place), head);
      if (!state) continue;
      if (matchesItsChecksums(source, *state)) return state;
      if (!firstFound) firstFound = state;
    }
    offset += bytes.size() - trailerByteCount + 1;
  }
  return firstFound;
}

}  // namespace

Result<ContainerFinding> find(const ByteSource& source, std::uint64_t byteCount) {
  if (byteCount < DecmpfsHeader::byteCount) return NotAContainer{};
  Head head;
  const auto gotHead = source.read(0, head);
  if (!gotHead) return std::unexpected(gotHead.error());
  if (*gotHead != head.size() || LittleEndian::load<std::uint32_t>(head.data()) != DecmpfsHeader::magic) {
    return NotAContainer{};
  }
  if (byteCount >= DecmpfsHeader::byteCount + trailerByteCount) {
    std::array<std::uint8_t, trailerByteCount> last;
    const auto gotLast = source.read(byteCount - trailerByteCount, last);
    if (!gotLast) return std::unexpected(gotLast.error());
    if (*gotLast == last.size()) {
      if (const auto state = trailerAt(byteCount - trailerByteCount, last, head)) return RecoveredContainer{*state, 0};
    }
  }
  const auto found = search(source, byteCount, head);
  if (!found) return std::unexpected(found.error());
  const std::optional<ContainerState>& state = *found;
  if (state) return RecoveredContainer{*state, byteCount - state->rawByteCount()};
  return TrailerMissing{};
}

}  // namespace quillbrook::ContainerRecovery
