// SPDX-License-Identifier: MIT
#include "Platform/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>

namespace quillbrook::Terminal {

bool isInputTerminal() {
  return ::isatty(STDIN_FILENO) == 1;
}

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

std::optional<std::string> readLine(const std::stop_token& stop) {
  constexpr int patience = 100;  // milliseconds, after which the stop is looked at
  std::string line;
  while (!stop.stop_requested()) {
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (::poll(&input, 1, patience) <= 0) continue;
    char character = 0;
    if (::read(STDIN_FILENO, &character, 1) != 1) return std::nullopt;
    if (character == '\n') return line;
    line += character;
  }
  return std::nullopt;
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
