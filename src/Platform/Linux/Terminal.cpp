// SPDX-License-Identifier: MIT
#include "Platform/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>

namespace quillbrook::Terminal {

bool isOutputTerminal() {
  return ::isatty(STDOUT_FILENO) == 1;
}

bool isErrorTerminal() {
  return ::isatty(STDERR_FILENO) == 1;
}

unsigned width() {
  winsize size{};
  if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

void settleSignals() {
  // Of these signals it cannot fail.
  [[maybe_unused]] const auto children = std::signal(SIGCHLD, SIG_DFL);
  [[maybe_unused]] const auto sizes = std::signal(SIGXFSZ, SIG_IGN);
}

void ignoreBrokenPipes() {
  [[maybe_unused]] const auto former = std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace quillbrook::Terminal
