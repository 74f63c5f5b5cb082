// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <ostream>
#include <stop_token>

#include "Platform/ErrorNumber.h"
#include "Platform/FileSystem.h"

namespace quillbrook {

// What the application touches outside itself, besides the user's own folders.
struct AppSurroundings {
  std::ostream& out;
  std::ostream& err;
  std::function<std::optional<ErrorNumber>()> outFailure;  // why `out` failed, where that is known
  FileSystem& fileSystem = FileSystem::native();
  std::stop_token stop;                // requested once a signal asks the process to end
  const std::atomic<int>& stopSignal;  // that signal's number, 0 before
};

}  // namespace quillbrook
