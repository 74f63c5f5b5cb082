// SPDX-License-Identifier: MIT
#include "CommandLine/CommandLine.h"

#include <chrono>
#include <iostream>
#include <optional>
#include <ostream>
#include <variant>
#include <vector>

#include "CommandLine/Arguments.h"
#include "CommandLine/ExitCode.h"
#include "CommandLine/Inspection.h"
#include "CommandLine/Operation.h"
#include "CommandLine/PathText.h"
#include "CommandLine/VolumeCommands.h"
#include "Platform/StandardOutput.h"
#include "Platform/StopSignals.h"
#include "Platform/Terminal.h"

namespace quillbrook::CommandLine {
namespace {

struct Runner {
  Io& io;
  int operator()(const OperationCommand& command) const { return Operation::run(command, io); }
  int operator()(const InspectCommand& command) const { return Inspection::run(command, io); }
  int operator()(const auto& command) const { return VolumeCommands::run(command, io); }
};

int answer(const ArgumentsAnswer& answer, Io& io) {
  if (answer.isWrongUsage) {
    io.err << PathText::shownMessage(answer.text, io.errIsTerminal);
  } else {
    io.out << answer.text;
  }
  return answer.isWrongUsage ? ExitCode::wrongUsage : ExitCode::done;
}

// The exit code of a command whose results did not arrive: a failure, whatever else went well.
int resultsLost(int exitCode, Io& io) {
  const auto failure = io.outFailure ? io.outFailure() : std::nullopt;
  // Who reads no further, as head(1), has what was wanted: it is told to nobody.
  if (failure == ErrorNumber::brokenPipe) return exitCode > ExitCode::signalBase ? exitCode : ExitCode::nobodyReads;
  io.err
      << "quillbrookctl: cannot write the results; every file is whole: make room there, or send them elsewhere, and "
         "give the same command again"
      << (failure ? ": " + failure->text() : "") << '\n';
  return exitCode > ExitCode::signalBase ? exitCode : ExitCode::failed;
}

}  // namespace

int run(std::span<const std::string> arguments, Io& io) {
  const auto command = Arguments::parse(arguments);
  const int exitCode = command ? std::visit(Runner{io}, *command) : answer(command.error(), io);
  return io.out.flush() ? exitCode : resultsLost(exitCode, io);
}

int runProcess(int argumentCount, const char* const* arguments) {
  Terminal::settleSignals();
  Terminal::ignoreBrokenPipes();
  const StopSignals signals;
  StandardOutput output;
  std::ostream out(&output);
  Io io{.out = out,
        .err = std::cerr,
        .outFailure = [&output] { return output.failure(); },
        .outIsTerminal = Terminal::isOutputTerminal(),
        .errIsTerminal = Terminal::isErrorTerminal(),
        .width = Terminal::width(),
        .fileSystem = FileSystem::native(),
        .openEnumerator = DirectoryEnumerator::open,
        .volumes = {},
        .now = std::chrono::steady_clock::now,
        .stop = signals.token(),
        .stopSignal = StopSignals::received()};
  const std::vector<std::string> values(arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount);
  return run(values, io);
}

}  // namespace quillbrook::CommandLine
