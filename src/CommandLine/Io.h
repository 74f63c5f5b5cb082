// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <expected>
#include <functional>
#include <optional>
#include <ostream>
#include <stop_token>
#include <string>

#include "App/ApplicationStore.h"
#include "CommandLine/ScheduleOperations.h"
#include "CommandLine/VolumeOperations.h"
#include "Models/StoreContainer.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/FileSystem.h"
#include "Platform/OpenEnumerator.h"
#include "Platform/Timestamp.h"
#include "Platform/UserDefaults.h"

namespace quillbrook {

using SteadyTime = std::chrono::steady_clock::time_point;

// Everything that the command line touches outside itself, so that a test can run it in memory.
struct Io {
  std::ostream& out;                                                 // results
  std::ostream& err;                                                 // everything else
  std::function<std::optional<ErrorNumber>()> outFailure = nullptr;  // why `out` failed, where that is known
  bool outIsTerminal = false;
  bool errIsTerminal = false;
  // A line that somebody types, without its line feed; nothing at the end, or once it is to stop. None: nobody is
  // there.
  std::function<std::optional<std::string>(const std::stop_token&)> readLine = nullptr;
  unsigned width = 80;  // columns of the terminal on `err`
  FileSystem& fileSystem;
  OpenEnumerator openEnumerator;
  VolumeOperations volumes;
  ScheduleOperations schedule;
  std::function<std::expected<StoreContainer, ApplicationStoreError>()> openStore;
  UserDefaults& defaults;
  FilePath home;                           // the user's folder
  std::function<Timestamp()> currentTime;  // of the calendar
  std::function<SteadyTime()> now;         // called from one thread
  std::stop_token stop;                    // requested once a signal asks the command to stop
  const std::atomic<int>& stopSignal;      // that signal's number, 0 before
};

}  // namespace quillbrook
