// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <stop_token>
#include <string>

// What the process's standard streams are connected to.
namespace quillbrook::Terminal {

[[nodiscard]] bool isInputTerminal();
[[nodiscard]] bool isOutputTerminal();
[[nodiscard]] bool isErrorTerminal();

// Columns of the terminal on standard error, 80 where it does not tell.
[[nodiscard]] unsigned width();

// A line of standard input, without its line feed. Nothing at its end, or once `stop` is requested.
[[nodiscard]] std::optional<std::string> readLine(const std::stop_token& stop);

// What whoever started the process may have left ignored: without it the end of child programs could not be told. And
// from here on a limit on the length of files makes a write fail instead of ending the process.
void settleSignals();

// From here on, writing to a pipe that nobody reads any more fails instead of ending the process.
void ignoreBrokenPipes();

}  // namespace quillbrook::Terminal
