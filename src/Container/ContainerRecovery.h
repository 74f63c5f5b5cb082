// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <variant>

#include "Container/ByteSource.h"
#include "Container/ContainerState.h"

namespace quillbrook {

// What a file's bytes alone say of it, when its attribute is gone.
struct NotAContainer {
  friend bool operator==(const NotAContainer&, const NotAContainer&) = default;
};
// The state stands in the trailer that was found. `surplusByteCount` bytes were appended behind it.
struct RecoveredContainer {
  ContainerState state;
  std::uint64_t surplusByteCount = 0;
  friend bool operator==(const RecoveredContainer&, const RecoveredContainer&) = default;
};
// It begins with a header as a container does, and no trailer follows: the end of the data is missing, or the file
// only happens to begin like one.
struct TrailerMissing {
  friend bool operator==(const TrailerMissing&, const TrailerMissing&) = default;
};
using ContainerFinding = std::variant<NotAContainer, RecoveredContainer, TrailerMissing>;

namespace ContainerRecovery {

// Looks for the trailer of a container that begins at the first byte: at the end of the data, else anywhere inside.
// Reads nothing but the first 16 bytes of a file that begins otherwise, and at most all of one that begins so.
[[nodiscard]] Result<ContainerFinding> find(const ByteSource& source, std::uint64_t byteCount);

}  // namespace ContainerRecovery

}  // namespace quillbrook
