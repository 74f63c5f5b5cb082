// SPDX-License-Identifier: MIT
#pragma once

namespace quillbrook {

// The caller asked to stop.
struct Cancelled {
  friend bool operator==(const Cancelled&, const Cancelled&) = default;
};

}  // namespace quillbrook
