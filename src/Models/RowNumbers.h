// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <unordered_map>

namespace quillbrook {

// Which row of the file a row became that a context has inserted. Numbers of such rows are negative; of all others the
// number is the row's in the file.
class RowNumbers {
 public:
  void note(std::int64_t number, std::int64_t fileRow) {
    fileRows_[number] = fileRow;
    numbers_[fileRow] = number;
  }
  void merge(const RowNumbers& others) {
    for (const auto& [number, fileRow] : others.fileRows_) note(number, fileRow);
  }

  // A negative number is not known before its row is saved, and comes back as it is.
  [[nodiscard]] std::int64_t fileRow(std::int64_t number) const { return found(fileRows_, number); }
  [[nodiscard]] std::int64_t number(std::int64_t fileRow) const { return found(numbers_, fileRow); }

 private:
  using Map = std::unordered_map<std::int64_t, std::int64_t>;

  [[nodiscard]] static std::int64_t found(const Map& map, std::int64_t key) {
    const auto entry = map.find(key);
    return entry == map.end() ? key : entry->second;
  }

  Map fileRows_;
  Map numbers_;
};

}  // namespace quillbrook
