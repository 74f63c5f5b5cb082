// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace quillbrook {

struct Goal {
  enum class Kind : std::uint8_t {
    Hold,  // what may never be lost again
    Beat,  // where a peer is to be passed
  };
  enum class Bound : std::uint8_t { AtMost, Below, AtLeast };

  std::string corpus;  // that it is judged on
  std::string what;    // is measured
  Kind kind = Kind::Hold;
  double value = 0;
  Bound bound = Bound::AtMost;
  double limit = 0;

  [[nodiscard]] bool met() const {
    switch (bound) {
      case Bound::AtMost: return value <= limit;
      case Bound::Below: return value < limit;
      case Bound::AtLeast: return value >= limit;
    }
    return false;
  }

  // How far the value lies beyond the limit, in percent of it, on the good side above 0 and on the other below.
  [[nodiscard]] double margin() const {
    const double beyond = 100 * (value / limit - 1);
    return bound == Bound::AtLeast ? beyond : 0 - beyond;
  }
};

}  // namespace quillbrook
