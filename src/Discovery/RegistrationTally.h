// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <variant>

#include "Registration/RegistrationDecision.h"

namespace quillbrook {

// What came of registering a selection. Whatever the reason was, a file that was not registered was skipped.
struct RegistrationTally {
  std::size_t registered = 0;
  std::size_t skipped = 0;

  template <typename Error>
  void add(const std::expected<RegistrationDecision, Error>& outcome) {
    const bool isRegistered = outcome && std::holds_alternative<WillRegister>(*outcome);
    ++(isRegistered ? registered : skipped);
  }

  // What the user reads: "登録: 2 件、スキップ: 1 件".
  [[nodiscard]] std::string summary() const;

  friend bool operator==(const RegistrationTally&, const RegistrationTally&) = default;
};

}  // namespace quillbrook
