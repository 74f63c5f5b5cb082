// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <utility>

// Ends the enclosing function with the error of `step`, a std::expected, if it failed. So a sequence of steps reads as
// one; what a step returns besides its success is dropped.
#define QUILLBROOK_TRY(step)                              \
  do {                                                    \
    if (auto outcome = (step); !outcome) {                \
      return std::unexpected(std::move(outcome).error()); \
    }                                                     \
  } while (false)
