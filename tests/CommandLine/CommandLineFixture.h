// SPDX-License-Identifier: MIT
#pragma once

#include <nlohmann/json.hpp>
#include <stop_token>

#include "CommandLine/CommandLine.h"
#include "Support/CompressingFileSystem.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {

// Runs the command line within the test, over a folder in which files can be compressed.
class CommandLineTest : public testing::Test {
 protected:
  using Json = nlohmann::ordered_json;
  using Strings = std::vector<std::string>;

  int run(Strings arguments, FileSystem& fileSystem = CompressingFileSystem::instance()) {
    out.str({});
    err.str({});
    Io io{.out = out,
          .err = err,
          .outIsTerminal = isTerminal,
          .errIsTerminal = isTerminal,
          .width = 80,
          .fileSystem = fileSystem,
          .openDirectory = openDirectory,
          .volumes = volumes,
          .now = [this] { return now += std::chrono::milliseconds(250); },
          .stop = stop.get_token(),
          .stopSignal = stopSignal};
    return CommandLine::run(arguments, io);
  }

  // Standard output, one object a line.
  [[nodiscard]] std::vector<Json> objects() const {
    std::vector<Json> objects;
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) objects.push_back(Json::parse(line));
    return objects;
  }
  // The one that tells of this file; null if there is none.
  [[nodiscard]] Json object(const std::string& name) const {
    for (const Json& object : objects()) {
      if (object.contains("path") && object["path"] == tree.path(name).displayText()) return object;
    }
    return {};
  }
  void stopWith(int signal) {
    stopSignal = signal;
    stop.request_stop();
  }

  ScratchFolder tree;
  OpenDirectory openDirectory = DirectoryReader::open;
  VolumeOperations volumes;
  bool isTerminal = false;
  std::ostringstream out;
  std::ostringstream err;
  SteadyTime now;
  std::stop_source stop;
  std::atomic<int> stopSignal = 0;
};

}  // namespace quillbrook
