// SPDX-License-Identifier: MIT
#include "Platform/ScheduleError.h"

#include <fmt/format.h>

#include "Platform/Linux/ProgramWords.h"

namespace quillbrook {
namespace {

using namespace ScheduleErrors;

struct Describer {
  std::string operator()(const ProgramMissing& e) const {
    return fmt::format("programMissing(searched: {})", e.searched.size());
  }
  std::string operator()(const CommandFailed& e) const {
    return fmt::format("commandFailed(command: {}, exitCode: {}, words: {})", e.command, e.exitCode,
                       ProgramWords::trimmed(e.words));
  }
  std::string operator()(const SystemFailure& e) const {
    return fmt::format("systemFailure(action: {}, path: {}, reason: {})", e.action, e.path.displayText(),
                       e.reason.value);
  }
};

struct Sentence {
  std::string operator()(const ProgramMissing& e) const {
    std::string places;
    for (const FilePath& path : e.searched) places += (places.empty() ? "" : ", ") + path.displayText();
    return fmt::format("The program quillbrook was not found: install it beside this one. Looked in: {}.", places);
  }
  std::string operator()(const CommandFailed& e) const { return ProgramWords::failure(e.command, e.exitCode, e.words); }
  std::string operator()(const SystemFailure& e) const {
    return fmt::format("Could not {} {}; put right what the system says and try again: {}.", e.action,
                       e.path.displayText(), e.reason.text());
  }
};

}  // namespace

std::string describe(const ScheduleError& error) {
  return std::visit(Describer{}, error);
}

std::string sentence(const ScheduleError& error) {
  return std::visit(Sentence{}, error);
}

}  // namespace quillbrook
