// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace quillbrook {

inline constexpr int maximumStars = 5;

// Always five symbols, full stars first: "★★★☆☆" for 3. Counts beyond 0 to 5 are taken as the nearer end.
[[nodiscard]] std::string starString(int count);

}  // namespace quillbrook
