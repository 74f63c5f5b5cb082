// SPDX-License-Identifier: MIT
#include "Discovery/StarString.h"

#include <algorithm>

namespace quillbrook {

std::string starString(int count) {
  const int full = std::clamp(count, 0, maximumStars);
  std::string text;
  for (int i = 0; i < maximumStars; ++i) text += i < full ? "★" : "☆";
  return text;
}

}  // namespace quillbrook
