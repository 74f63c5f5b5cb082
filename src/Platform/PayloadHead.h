// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>

namespace quillbrook {

// What the platform knows of a compressed file's payload without opening the file.
struct PayloadHead {
  std::array<std::uint8_t, 16> bytes{};  // the first of the value of com.apple.decmpfs, zero behind its end
  std::uint64_t valueByteCount = 0;
  std::uint64_t forkByteCount = 0;

  friend bool operator==(const PayloadHead&, const PayloadHead&) = default;
};

}  // namespace quillbrook
