// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/FilePath.h"

namespace quillbrook {

// Sums over files by kind, which is the extension in lower case.
class KindTotals {
 public:
  struct Row {
    std::string kind;  // ".h", or words for those without an extension and for the rest; bytes
    std::uint64_t files = 0;
    std::int64_t bytesBefore = 0;
    std::int64_t bytesAfter = 0;
    [[nodiscard]] std::int64_t saved() const { return bytesBefore - bytesAfter; }
    friend bool operator==(const Row&, const Row&) = default;
  };

  void add(const FilePath& path, std::int64_t bytesBefore, std::int64_t bytesAfter);

  // The `limit` kinds that saved most, then all others in one row.
  [[nodiscard]] std::vector<Row> rows(std::size_t limit) const;
  [[nodiscard]] Row total() const;

 private:
  std::map<std::string, Row> kinds_;
  Row rest_{.kind = "other kinds"};  // what came when there were too many kinds already
};

}  // namespace quillbrook
