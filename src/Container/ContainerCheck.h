// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

#include "Container/ByteSource.h"
#include "Container/ContainerState.h"

namespace quillbrook {

// What can be wrong with a sealed container. Byte counts are of its raw data.
struct ContainerCutShort {
  std::uint64_t expected = 0;
  std::uint64_t got = 0;
  friend bool operator==(const ContainerCutShort&, const ContainerCutShort&) = default;
};
struct SurplusBytes {
  std::uint64_t count = 0;
  friend bool operator==(const SurplusBytes&, const SurplusBytes&) = default;
};
struct TrailerDiffers {
  friend bool operator==(const TrailerDiffers&, const TrailerDiffers&) = default;
};
struct SpanDamaged {
  std::uint64_t index = 0;  // the span at index * 65,536
  friend bool operator==(const SpanDamaged&, const SpanDamaged&) = default;
};
// Header, table or sizes contradict each other although the checksums match.
struct StructureInvalid {
  friend bool operator==(const StructureInvalid&, const StructureInvalid&) = default;
};
struct BlockUndecodable {
  std::uint64_t index = 0;  // the block at logical offset index * 65,536
  friend bool operator==(const BlockUndecodable&, const BlockUndecodable&) = default;
};
// Sound as far as its checksums tell, but of a type that nobody here can decode.
struct TypeNotSupported {
  std::uint32_t rawValue = 0;
  friend bool operator==(const TypeNotSupported&, const TypeNotSupported&) = default;
};
// The bytes could not be read at all.
struct ContainerUnreadable {
  ErrorNumber error;
  friend bool operator==(const ContainerUnreadable&, const ContainerUnreadable&) = default;
};
using ContainerDamage = std::variant<ContainerCutShort, SurplusBytes, TrailerDiffers, SpanDamaged, StructureInvalid,
                                     BlockUndecodable, TypeNotSupported, ContainerUnreadable>;

// The case with its payload, as "spanDamaged(index: 3)".
[[nodiscard]] std::string describe(const ContainerDamage& damage);

namespace ContainerCheck {

// Verifies every checksum and the trailer, and decodes everything; nothing is kept. The first thing that is wrong, or
// nothing. `byteCount` is the length of the raw data. A stop answers ContainerUnreadable with `cancelled`.
[[nodiscard]] std::optional<ContainerDamage> check(const ByteSource& source, std::uint64_t byteCount,
                                                   const ContainerState& state, const std::stop_token& stop = {});

}  // namespace ContainerCheck

}  // namespace quillbrook
