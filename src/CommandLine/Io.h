// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <ostream>
#include <stop_token>

#include "CommandLine/VolumeOperations.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/OpenEnumerator.h"

namespace quillbrook {

using SteadyTime = std::chrono::steady_clock::time_point;

// Everything that the command line touches outside itself, so that a test can run it in memory.
struct Io {
  std::ostream& out;                                                 // results
  std::ostream& err;                                                 // everything else
  std::function<std::optional<ErrorNumber>()> outFailure = nullptr;  // why `out` failed, where that is known
  bool outIsTerminal = false;
  bool errIsTerminal = false;
  unsigned width = 80;  // columns of the terminal on `err`
  FileSystem& fileSystem;
  OpenEnumerator openEnumerator;
  VolumeOperations volumes;
  std::function<SteadyTime()> now;     // called from one thread
  std::stop_token stop;                // requested once a signal asks the command to stop
  const std::atomic<int>& stopSignal;  // that signal's number, 0 before
};

}  // namespace quillbrook
