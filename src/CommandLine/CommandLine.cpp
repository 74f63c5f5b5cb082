// SPDX-License-Identifier: MIT
#include "CommandLine/CommandLine.h"

#include <chrono>
#include <iostream>
#include <optional>
#include <ostream>
#include <variant>
#include <vector>

#include "App/QuillbrookApp.h"
#include "CommandLine/Arguments.h"
#include "CommandLine/ExitCode.h"
#include "CommandLine/Inspection.h"
#include "CommandLine/Operation.h"
#include "CommandLine/PathText.h"
#include "CommandLine/RegistryCommands.h"
#include "CommandLine/ScheduleCommands.h"
#include "CommandLine/SearchCommands.h"
#include "CommandLine/SettingsCommands.h"
#include "CommandLine/VolumeCommands.h"
#include "Platform/StandardFolders.h"
#include "Platform/StandardOutput.h"
#include "Platform/StopSignals.h"
#include "Platform/Terminal.h"

namespace quillbrook::CommandLine {
namespace {

// The application's own run, with its lines and its two exit codes.
int recompress(Io& io) {
  const std::vector<std::string> arguments{"quillbrookctl", "--auto-recompress"};
  return QuillbrookApp::run(arguments, {.out = io.out,
                                        .err = io.err,
                                        .outFailure = io.outFailure,
                                        .fileSystem = io.fileSystem,
                                        .stop = io.stop,
                                        .stopSignal = io.stopSignal});
}

struct Runner {
  Io& io;
  int operator()(const OperationCommand& command) const { return Operation::run(command, io); }
  int operator()(const InspectCommand& command) const { return Inspection::run(command, io); }
  int operator()(const AddCommand& command) const { return RegistryCommands::run(command, io); }
  int operator()(const RemoveCommand& command) const { return RegistryCommands::run(command, io); }
  int operator()(const ListCommand& command) const { return RegistryCommands::run(command, io); }
  int operator()(const SearchCommand& command) const { return SearchCommands::run(command, io); }
  int operator()(const CountCommand& command) const { return SearchCommands::run(command, io); }
  int operator()(const DefaultsGetCommand& command) const { return SettingsCommands::run(command, io); }
  int operator()(const DefaultsSetCommand& command) const { return SettingsCommands::run(command, io); }
  int operator()(const RecompressCommand&) const { return recompress(io); }
  int operator()(const ScheduleEnableCommand& command) const { return ScheduleCommands::run(command, io); }
  int operator()(const ScheduleDisableCommand& command) const { return ScheduleCommands::run(command, io); }
  int operator()(const ScheduleStatusCommand& command) const { return ScheduleCommands::run(command, io); }
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
  if (command && std::holds_alternative<RecompressCommand>(*command)) return exitCode;
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
        .readLine = nullptr,
        .width = Terminal::width(),
        .fileSystem = FileSystem::native(),
        .openEnumerator = DirectoryEnumerator::open,
        .volumes = {},
        .schedule = {},
        .openStore = ApplicationStore::open,
        .defaults = UserDefaults::standard(),
        .home = StandardFolders::home(),
        .currentTime = Timestamp::now,
        .now = std::chrono::steady_clock::now,
        .stop = signals.token(),
        .stopSignal = StopSignals::received()};
  if (Terminal::isInputTerminal() && io.errIsTerminal) io.readLine = Terminal::readLine;
  const std::vector<std::string> values(arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount);
  return run(values, io);
}

}  // namespace quillbrook::CommandLine
