// SPDX-License-Identifier: MIT
#pragma once

#include <compare>
#include <cstdint>

namespace quillbrook {

// Names one row of a context: from its insertion or its first fetch on, saved or not. Means nothing in another context.
template <typename Record>
struct RowHandle {
  std::int64_t number = 0;
  friend auto operator<=>(const RowHandle&, const RowHandle&) = default;
};

}  // namespace quillbrook
