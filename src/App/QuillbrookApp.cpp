// SPDX-License-Identifier: MIT
#include "App/QuillbrookApp.h"

#include <expected>
#include <filesystem>
#include <iostream>
#include <ostream>
#include <string_view>
#include <system_error>

#include "App/CommandLineHelp.h"
#include "App/CommandLineVersion.h"
#include "App/HeadlessAutoRecompressRunner.h"
#include "App/RunMode.h"
#include "Models/StoreContainer.h"
#include "Platform/ErrorNumber.h"
#include "Platform/StandardFolders.h"
#include "Platform/StandardOutput.h"
#include "Platform/Terminal.h"

namespace quillbrook::QuillbrookApp {
namespace {

// The error in words.
std::expected<StoreContainer, std::string> openStore() {
  const FilePath folder = StandardFolders::applicationSupport();
  std::error_code failure;
  std::filesystem::create_directories(folder.bytes(), failure);
  if (failure) {
    return std::unexpected("the folder " + folder.displayText() +
                           " cannot be made; see to its permissions: " + ErrorNumber{failure.value()}.text());
  }
  auto container = makeStoreContainer(folder.appending("store.sqlite"));
  if (!container) return std::unexpected(sentence(container.error()));
  return *std::move(container);
}

int runHeadless(std::ostream& out) {
  auto store = openStore();
  if (!store) {
    std::cerr << "Failed to create ModelContainer: " << store.error() << '\n';
    return 1;
  }
  return HeadlessAutoRecompressRunner(*std::move(store), {.out = out, .err = std::cerr}).run();
}

}  // namespace

int run(std::span<const std::string> arguments) {
  Terminal::settleSignals();
  // Whoever reads the two lines may be gone: the files are compressed all the same.
  Terminal::ignoreBrokenPipes();
  StandardOutput output;
  std::ostream out(&output);
  int exitCode = 0;
  switch (runMode(arguments)) {
    case RunMode::help: out << CommandLineHelp::text; break;
    case RunMode::version: out << CommandLineVersion::text(); break;
    case RunMode::headlessAutoRecompress: exitCode = runHeadless(out); break;
    case RunMode::gui:
      std::cerr << "quillbrook: the window is not built in; use quillbrookctl, or --help to see what else there is\n";
      return 1;
  }
  out.flush();
  const auto lost = output.failure();
  if (!lost || lost == ErrorNumber::brokenPipe) return exitCode;
  std::cerr << "quillbrook: the results cannot be written; every file is whole: make room there, or send them "
               "elsewhere: "
            << lost->text() << '\n';
  return 1;
}

}  // namespace quillbrook::QuillbrookApp
