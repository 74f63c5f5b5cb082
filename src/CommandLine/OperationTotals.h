// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// Counts over the files of one run; bytes of those that were done.
struct OperationTotals {
  std::uint64_t done = 0;
  std::uint64_t skipped = 0;
  std::uint64_t failed = 0;
  std::int64_t bytesBefore = 0;
  std::int64_t bytesAfter = 0;
  [[nodiscard]] std::uint64_t files() const { return done + skipped + failed; }
};

}  // namespace quillbrook
