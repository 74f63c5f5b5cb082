// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <expected>
#include <string>

#include "Platform/ErrorNumber.h"

namespace quillbrook::SystemCall {

// What errno says, for the failure of the call just made.
[[nodiscard]] inline std::unexpected<ErrorNumber> failure() {
  return std::unexpected(ErrorNumber{errno});
}

// Makes the call, again while a signal interrupts it. `call` returns -1 on failure.
template <typename Call>
[[nodiscard]] auto retrying(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// The same for calls that return 0 or -1.
template <typename Call>
[[nodiscard]] Result<void> checked(Call call) {
  if (retrying(call) == -1) return failure();
  return {};
}

// A path that leads to what `descriptor` has open, also when it was opened with O_PATH.
[[nodiscard]] inline std::string pathOf(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace quillbrook::SystemCall
