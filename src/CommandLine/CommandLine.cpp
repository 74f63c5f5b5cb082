// SPDX-License-Identifier: MIT
#include "CommandLine/CommandLine.h"

#include <chrono>
#include <iostream>
#include <variant>
#include <vector>

#include "CommandLine/Arguments.h"
#include "CommandLine/ExitCode.h"
#include "CommandLine/Inspection.h"
#include "CommandLine/Operation.h"
#include "CommandLine/VolumeCommands.h"
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

}  // namespace

int run(std::span<const std::string> arguments, Io& io) {
  const auto command = Arguments::parse(arguments);
  if (!command) {
    const ArgumentsAnswer& answer = command.error();
    (answer.isWrongUsage ? io.err : io.out) << answer.text << std::flush;
    return answer.isWrongUsage ? ExitCode::wrongUsage : ExitCode::done;
  }
  const int exitCode = std::visit(Runner{io}, *command);
  // A result that did not arrive is a failure, whatever else went well.
  if (!io.out.flush() && exitCode == ExitCode::done) {
    io.err << "quillbrookctl: cannot write the results\n";
    return ExitCode::failed;
  }
  return exitCode;
}

int runProcess(int argumentCount, const char* const* arguments) {
  std::ios::sync_with_stdio(false);
  Terminal::ignoreBrokenPipes();
  const StopSignals signals;
  Io io{.out = std::cout,
        .err = std::cerr,
        .outIsTerminal = Terminal::isOutputTerminal(),
        .errIsTerminal = Terminal::isErrorTerminal(),
        .width = Terminal::width(),
        .fileSystem = FileSystem::native(),
        .openDirectory = DirectoryReader::open,
        .volumes = {},
        .now = std::chrono::steady_clock::now,
        .stop = signals.token(),
        .stopSignal = StopSignals::received()};
  const std::vector<std::string> values(arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount);
  return run(values, io);
}

}  // namespace quillbrook::CommandLine
