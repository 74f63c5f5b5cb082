// SPDX-License-Identifier: MIT
#include "CommandLine/ScheduleCommands.h"

#include <expected>

#include "CommandLine/ExitCode.h"
#include "CommandLine/PathText.h"
#include "CommandLine/RegistryLines.h"

namespace quillbrook::ScheduleCommands {
namespace {

template <typename Answer>
int report(const std::expected<Answer, ScheduleError>& answer, Io& io) {
  if (!answer) {
    io.err << "quillbrookctl: " << PathText::shownMessage(sentence(answer.error()), io.errIsTerminal) << '\n';
    return ExitCode::failed;
  }
  io.out << PathText::shownMessage(sentence(*answer), io.outIsTerminal) << '\n';
  return ExitCode::done;
}

}  // namespace

int run(const ScheduleEnableCommand& command, Io& io) {
  return report(io.schedule.enable(command.interval), io);
}

int run(const ScheduleDisableCommand&, Io& io) {
  return report(io.schedule.disable(), io);
}

int run(const ScheduleStatusCommand& command, Io& io) {
  const auto status = io.schedule.status();
  if (!command.json || !status) return report(status, io);
  io.out << RegistryLines::schedule(*status) << '\n';
  return ExitCode::done;
}

}  // namespace quillbrook::ScheduleCommands
