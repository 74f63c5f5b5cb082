// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// One mounted volume.
struct VolumeListing {
  enum class Condition {
    alive,
    stale,   // its daemon has died: `volume mount` clears it
    closed,  // somebody else's mount, which does not answer the caller
    silent,  // its daemon did not answer in time: it is stopped, or overloaded
  };
  FilePath mountPoint;
  FilePath source;
  std::uint32_t owner = 0;             // user who mounted it
  std::optional<std::int32_t> daemon;  // its process, if the volume tells
  bool isReadOnly = false;
  Condition condition = Condition::alive;

  friend bool operator==(const VolumeListing&, const VolumeListing&) = default;
};

namespace VolumeList {

// Every volume that this process sees in the mount table, in the order of mounting. Asks all of them at once and
// gives them `patience` to answer.
constexpr std::chrono::seconds patience{5};
[[nodiscard]] Result<std::vector<VolumeListing>> read();

}  // namespace VolumeList
}  // namespace quillbrook
