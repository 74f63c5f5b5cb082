// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "Models/Row.h"
#include "Models/RowNumbers.h"

namespace quillbrook {

// What a context holds of one table: what it has not saved, and the numbers of what it has.
template <typename Record>
struct ContextTable {
  std::vector<Row<Record>> inserted;  // in the order of insertion
  std::unordered_set<std::int64_t> erasedFileRows;
  RowNumbers numbers;
  RowNumbers newNumbers;  // given by a save that is not yet committed
};

}  // namespace quillbrook
