// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace quillbrook {

// Whether the manager of the caller's own services takes up what was put in place for it.
enum class ServiceManagerReach : std::uint8_t {
  running,
  notRunning,  // it is installed, and none of the caller's answers: what was put in place counts from the next login on
  notInstalled,  // what was put in place waits for it to be installed
};

}  // namespace quillbrook
