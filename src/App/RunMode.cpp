// SPDX-License-Identifier: MIT
#include "App/RunMode.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace quillbrook {

RunMode runMode(std::span<const std::string> arguments) {
  const auto options = arguments.subspan(arguments.empty() ? 0 : 1);
  const auto hasOneOf = [&](std::initializer_list<std::string_view> names) {
    return std::ranges::find_first_of(options, names) != options.end();
  };
  if (hasOneOf({"--help", "-h"})) return RunMode::help;
  if (hasOneOf({"--version", "-V"})) return RunMode::version;
  if (hasOneOf({"--auto-recompress"})) return RunMode::headlessAutoRecompress;
  return RunMode::gui;
}

}  // namespace quillbrook
