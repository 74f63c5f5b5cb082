// SPDX-License-Identifier: MIT
#include "App/QuillbrookApp.h"

#include <iostream>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

#include "App/AppContext.h"
#include "App/AppDelegate.h"
#include "App/ApplicationStore.h"
#include "App/CommandLineHelp.h"
#include "App/CommandLineVersion.h"
#include "App/LaunchRecord.h"
#include "App/RunMode.h"
#include "Platform/Log.h"
#include "Platform/StandardOutput.h"
#include "Platform/StopSignals.h"
#include "Platform/Terminal.h"
#include "Platform/UserDefaults.h"

namespace quillbrook::QuillbrookApp {
namespace {

constexpr Log startLog{"start"};

// Everything that needs the store.
int launch(std::span<const std::string> arguments, RunMode mode, const AppSurroundings& surroundings) {
  auto container = ApplicationStore::open();
  if (!container) {
    surroundings.err << "Failed to create ModelContainer: " << sentence(container.error()) << '\n';
    return 1;
  }
  AppContext::shared() = {.container = *std::move(container), .runMode = mode};
  if (mode == RunMode::gui) {
    if (const auto recorded = LaunchRecord::record(UserDefaults::standard(), Timestamp::now()); !recorded) {
      startLog.write(LogLevel::error, "launch not recorded: %{public}s", {recorded.error().text()});
    }
  }
  if (const auto exitCode = AppDelegate::applicationDidFinishLaunching(arguments, surroundings)) return *exitCode;
  surroundings.err
      << "quillbrook: the window is not built in; use quillbrookctl, or --help to see what else there is\n";
  return 1;
}

int dispatch(std::span<const std::string> arguments, const AppSurroundings& surroundings) {
  const RunMode mode = runMode(arguments);
  switch (mode) {
    case RunMode::help: surroundings.out << CommandLineHelp::text; return 0;
    case RunMode::version: surroundings.out << CommandLineVersion::text(); return 0;
    case RunMode::headlessAutoRecompress:
    case RunMode::gui: break;
  }
  return launch(arguments, mode, surroundings);
}

}  // namespace

int run(std::span<const std::string> arguments, const AppSurroundings& surroundings) {
  const int exitCode = dispatch(arguments, surroundings);
  surroundings.out.flush();
  const auto lost = surroundings.outFailure ? surroundings.outFailure() : std::nullopt;
  // Whoever reads the two lines of a run may be gone: the files were compressed all the same.
  if (!lost || lost == ErrorNumber::brokenPipe) return exitCode;
  surroundings.err << "quillbrook: the results cannot be written; every file is whole: make room there, or send them "
                      "elsewhere: "
                   << lost->text() << '\n';
  return exitCode == 0 ? 1 : exitCode;
}

int runProcess(std::span<const std::string> arguments) {
  Terminal::settleSignals();
  Terminal::ignoreBrokenPipes();
  const StopSignals signals;
  StandardOutput output;
  std::ostream out(&output);
  return run(arguments, {.out = out,
                         .err = std::cerr,
                         .outFailure = [&output] { return output.failure(); },
                         .stop = signals.token(),
                         .stopSignal = StopSignals::received()});
}

}  // namespace quillbrook::QuillbrookApp
