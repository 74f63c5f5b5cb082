// SPDX-License-Identifier: MIT
#include "Registration/RegistrationError.h"

namespace quillbrook {

std::string describe(const RegistrationError& error) {
  return std::visit([](const auto& inner) { return describe(inner); }, error);
}

}  // namespace quillbrook
