// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "CommandLine/Io.h"

namespace quillbrook {

// How far a run is, in bytes.
struct ProgressPosition {
  std::int64_t done = 0;
  std::int64_t total = 0;  // may shrink while it runs, as files turn out to need no work
};

// Rate and remaining time, from what the last ten seconds brought: old enough to be steady, young enough to follow.
class ProgressMeter {
 public:
  static constexpr std::chrono::seconds window{10};

  // Times must not go backwards.
  void add(SteadyTime time, const ProgressPosition& position);

  // Bytes in a second; nothing before there is a second to measure.
  [[nodiscard]] std::optional<double> rate() const;
  // Nothing while nothing moves.
  [[nodiscard]] std::optional<std::chrono::seconds> remaining() const;

  // One line of less than `width` columns, as
  // "[######----]  60%  1.20 GB of 2.00 GB  120 MB/s  0:07 left".
  [[nodiscard]] std::string line(unsigned width) const;

 private:
  struct Sample {
    SteadyTime time;
    std::int64_t done;
  };
  std::deque<Sample> samples_;  // oldest first
  ProgressPosition position_;
};

}  // namespace quillbrook
