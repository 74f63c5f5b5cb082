// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace quillbrook {

// Which rows of a table, and in which order.
template <typename Record>
struct FetchRequest {
  std::function<bool(const Record&)> where;                  // none: all
  std::function<bool(const Record&, const Record&)> before;  // none: the store's order, that of insertion
};

// The order of a fetch by one attribute, the greatest first: descending(&CompressionLog::executedAt).
template <typename Record, typename Value>
[[nodiscard]] auto descending(Value Record::* attribute) {
  return [attribute](const Record& a, const Record& b) { return a.*attribute > b.*attribute; };
}

}  // namespace quillbrook
