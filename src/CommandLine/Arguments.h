// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <span>
#include <string>

#include "CommandLine/Command.h"

namespace quillbrook {

// The arguments hold no command: they ask for help or the version, or are wrong.
struct ArgumentsAnswer {
  bool isWrongUsage = false;
  std::string text;  // what to print, with its line feeds
};

// Reads the arguments, the program's name not among them. Names are bytes and pass as they are.
namespace Arguments {

[[nodiscard]] std::expected<Command, ArgumentsAnswer> parse(std::span<const std::string> arguments);

}  // namespace Arguments
}  // namespace quillbrook
