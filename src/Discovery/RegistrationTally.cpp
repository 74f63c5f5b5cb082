// SPDX-License-Identifier: MIT
#include "Discovery/RegistrationTally.h"

namespace quillbrook {

std::string RegistrationTally::summary() const {
  return "登録: " + std::to_string(registered) + " 件、スキップ: " + std::to_string(skipped) + " 件";
}

}  // namespace quillbrook
