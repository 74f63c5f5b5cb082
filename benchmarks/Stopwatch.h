// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace quillbrook {

class Stopwatch {
 public:
  [[nodiscard]] double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

[[nodiscard]] inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

}  // namespace quillbrook
