// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Why a unit of the user's service manager was not put in place, taken away or taken up. Who puts it there tells people
// so in an error of its own.
namespace UserUnitErrors {

struct SystemFailure {
  std::string action;  // "write", "start": fits behind "could not"
  FilePath path;
  ErrorNumber reason;
  friend bool operator==(const SystemFailure&, const SystemFailure&) = default;
};
// The manager refused; `words` is what `systemctl` wrote.
struct CommandFailed {
  std::string command;
  int exitCode = 0;
  std::string words;
  friend bool operator==(const CommandFailed&, const CommandFailed&) = default;
};

}  // namespace UserUnitErrors

using UserUnitError = std::variant<UserUnitErrors::SystemFailure, UserUnitErrors::CommandFailed>;

}  // namespace quillbrook
