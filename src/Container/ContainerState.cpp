// SPDX-License-Identifier: MIT
#include "Container/ContainerState.h"

#include <algorithm>
#include <limits>

#include "Container/Checksum.h"
#include "Platform/LittleEndian.h"

namespace quillbrook {
namespace {

constexpr std::uint8_t creationTimePresent = 0x01;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

namespace Offset {
constexpr std::size_t bits = 3;
constexpr std::size_t flags = 4;
constexpr std::size_t valueByteCount = 8;
constexpr std::size_t forkByteCount = 12;
constexpr std::size_t logicalByteCount = 16;
constexpr std::size_t creationTime = 24;
constexpr std::size_t head = 32;
constexpr std::size_t redoIdentifier = 48;
constexpr std::size_t checksum = 52;
}  // namespace Offset
static_assert(ContainerState::beginning.size() == Offset::bits);
static_assert(Offset::head + ContainerState::headByteCount == Offset::redoIdentifier);
static_assert(Offset::checksum + sizeof(std::uint32_t) == ContainerState::byteCount);

std::int64_t nanoseconds(Timestamp time) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (time.seconds >= Limits::max() / nanosecondsPerSecond) return Limits::max();
  if (time.seconds <= Limits::min() / nanosecondsPerSecond) return Limits::min();
  return time.seconds * nanosecondsPerSecond + time.nanoseconds;
}

Timestamp timestamp(std::int64_t nanoseconds) {
  auto seconds = nanoseconds / nanosecondsPerSecond;
  auto rest = nanoseconds % nanosecondsPerSecond;
  if (rest < 0) {
    rest += nanosecondsPerSecond;
    --seconds;
  }
  return {.seconds = seconds, .nanoseconds = static_cast<std::uint32_t>(rest)};
}

}  // namespace

std::array<std::uint8_t, ContainerState::byteCount> ContainerState::encode() const {
  std::array<std::uint8_t, byteCount> bytes{};
  const auto at = [&bytes](std::size_t offset) { return bytes.data() + offset; };
  std::ranges::copy(beginning, bytes.begin());
  bytes[Offset::bits] = creationTime ? creationTimePresent : std::uint8_t{0};
  LittleEndian::store(at(Offset::flags), st_flags);
  LittleEndian::store(at(Offset::valueByteCount), valueByteCount);
  LittleEndian::store(at(Offset::forkByteCount), forkByteCount);
  LittleEndian::store(at(Offset::logicalByteCount), logicalByteCount);
  if (creationTime)
    LittleEndian::store(at(Offset::creationTime), static_cast<std::uint64_t>(nanoseconds(*creationTime)));
  std::ranges::copy(head, at(Offset::head));
  LittleEndian::store(at(Offset::redoIdentifier), redoIdentifier);
  LittleEndian::store(at(Offset::checksum), Checksum::crc32c(std::span(bytes).first(Offset::checksum)));
  return bytes;
}

std::optional<ContainerState> ContainerState::decode(std::span<const std::uint8_t> bytes) {
  if (bytes.size() != byteCount) return std::nullopt;
  const auto at = [&bytes](std::size_t offset) { return bytes.data() + offset; };
  if (!std::ranges::equal(bytes.first(beginning.size()), beginning)) return std::nullopt;
  if ((bytes[Offset::bits] & ~creationTimePresent) != 0) return std::nullopt;
  const auto checksum = Checksum::crc32c(bytes.first(Offset::checksum));
  if (LittleEndian::load<std::uint32_t>(at(Offset::checksum)) != checksum) return std::nullopt;

  ContainerState state;
  state.st_flags = LittleEndian::load<std::uint32_t>(at(Offset::flags));
  state.valueByteCount = LittleEndian::load<std::uint32_t>(at(Offset::valueByteCount));
  state.forkByteCount = LittleEndian::load<std::uint32_t>(at(Offset::forkByteCount));
  state.logicalByteCount = LittleEndian::load<std::uint64_t>(at(Offset::logicalByteCount));
  if (state.logicalByteCount > largestLogicalByteCount) return std::nullopt;
  if ((bytes[Offset::bits] & creationTimePresent) != 0) {
    state.creationTime =
        timestamp(static_cast<std::int64_t>(LittleEndian::load<std::uint64_t>(at(Offset::creationTime))));
  }
  std::ranges::copy(bytes.subspan(Offset::head, headByteCount), state.head.begin());
  state.redoIdentifier = LittleEndian::load<std::uint32_t>(at(Offset::redoIdentifier));
  return state;
}

}  // namespace quillbrook
