// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

// Why the schedule of the unattended run was not changed or not told. What was done up to then stays; giving the same
// command again does the rest.
namespace ScheduleErrors {

// The application's program, which is what the schedule starts. Nothing was changed.
struct ProgramMissing {
  std::vector<FilePath> searched;
  friend bool operator==(const ProgramMissing&, const ProgramMissing&) = default;
};
// The service manager refused; `words` is what it said.
struct CommandFailed {
  std::string command;
  int exitCode = 0;
  std::string words;
  friend bool operator==(const CommandFailed&, const CommandFailed&) = default;
};
struct SystemFailure {
  std::string action;  // "write", "create": fits behind "could not"
  FilePath path;
  ErrorNumber reason;
  friend bool operator==(const SystemFailure&, const SystemFailure&) = default;
};

}  // namespace ScheduleErrors

using ScheduleError =
    std::variant<ScheduleErrors::ProgramMissing, ScheduleErrors::CommandFailed, ScheduleErrors::SystemFailure>;

// The case and its payload: `programMissing(searched: 3)`.
[[nodiscard]] std::string describe(const ScheduleError& error);

// For the person: what failed, what to do, the system's words. Ends with a full stop.
[[nodiscard]] std::string sentence(const ScheduleError& error);

}  // namespace quillbrook
