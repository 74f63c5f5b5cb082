// SPDX-License-Identifier: MIT
#include "App/AppDelegate.h"

#include "App/AppContext.h"
#include "App/HeadlessAutoRecompressRunner.h"
#include "App/RunMode.h"

namespace quillbrook {

std::optional<int> AppDelegate::applicationDidFinishLaunching(std::span<const std::string> arguments,
                                                              const AppSurroundings& surroundings) {
  if (runMode(arguments) != RunMode::headlessAutoRecompress) return std::nullopt;
  const auto& container = AppContext::shared().container;
  if (!container) {
    surroundings.err << "ERROR: ModelContainer is not initialized. headless mode aborted.\n";
    return 1;
  }
  HeadlessAutoRecompressRunner runner(*container, {.out = surroundings.out,
                                                   .err = surroundings.err,
                                                   .fileSystem = surroundings.fileSystem,
                                                   .stop = surroundings.stop});
  const int exitCode = runner.run();
  if (!runner.wasStopped()) return exitCode;
  surroundings.err << "quillbrook: stopped; every file is whole, and the next run goes on from here\n";
  constexpr int signalBase = 128;
  return signalBase + surroundings.stopSignal;
}

}  // namespace quillbrook
