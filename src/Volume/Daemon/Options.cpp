// SPDX-License-Identifier: MIT
#include "Volume/Daemon/Options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace quillbrook {

namespace {

// What mount(8) hands to every helper for its own use and no file system knows.
constexpr std::array<std::string_view, 11> genericOptions{"rw",    "auto",     "noauto", "user",    "nouser", "users",
                                                          "owner", "defaults", "nofail", "_netdev", "sloppy"};

bool isGeneric(std::string_view option) {
  return std::ranges::find(genericOptions, option) != genericOptions.end() || option.starts_with("x-") ||
         option.starts_with("comment=");
}

std::optional<int> number(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return value;
}

void addMountOptions(Options& options, std::string_view list) {
  while (!list.empty()) {
    const std::size_t comma = std::min(list.find(','), list.size());
    const std::string_view option = list.substr(0, comma);
    list.remove_prefix(std::min(comma + 1, list.size()));
    if (option == "ro") options.readOnly = true;
    if (!option.empty() && !isGeneric(option)) options.mountOptions.emplace_back(option);
  }
}

using Reason = OptionsError::Reason;

std::unexpected<OptionsError> failure(Reason reason, std::string argument = {}) {
  return std::unexpected(OptionsError{.reason = reason, .argument = std::move(argument)});
}

}  // namespace

std::expected<Options, OptionsError> Options::parse(std::span<const std::string> arguments) {
  Options options;
  std::vector<std::string> paths;
  bool onlyPaths = false;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string& argument = arguments[index];
    const auto value = [&](std::string_view flag) -> std::optional<std::string_view> {
      if (argument.starts_with(std::string(flag) + "=")) return std::string_view(argument).substr(flag.size() + 1);
      if (argument == flag && index + 1 < arguments.size()) return arguments[++index];
      return std::nullopt;
    };
    if (onlyPaths || !argument.starts_with('-') || argument == "-") {
      paths.push_back(argument);
    } else if (argument == "--") {
      onlyPaths = true;
    } else if (argument == "-h" || argument == "--help") {
      return failure(Reason::helpWanted);
    } else if (argument == "-f") {
      options.foreground = true;
    } else if (argument.starts_with("--fd")) {
      const auto text = value("--fd");
      options.deviceDescriptor = text ? number(*text) : std::nullopt;
      if (!options.deviceDescriptor) return failure(Reason::descriptorMissing);
    } else if (argument == "-o") {
      const auto list = value("-o");
      if (!list) return failure(Reason::listMissing);
      addMountOptions(options, *list);
    } else if (argument.starts_with("-o")) {
      addMountOptions(options, std::string_view(argument).substr(2));
    } else if (argument == "-t") {
      if (!value("-t")) return failure(Reason::typeMissing);
    } else if (argument != "-n" && argument != "-s" && argument != "-v") {  // mount(8) hands these to its helpers
      return failure(Reason::unknownOption, argument);
    }
  }
  // An empty name would mean the current folder.
  if (paths.empty() || paths.size() > 2 || paths.front().empty() || paths.back().empty())
    return failure(Reason::wrongPathCount);
  options.source = FilePath(paths.front());
  options.mountPoint = FilePath(paths.back());
  constexpr std::string_view descriptorPath = "/dev/fd/";
  if (paths.size() == 2 && paths.back().starts_with(descriptorPath)) {
    options.deviceDescriptor = number(std::string_view(paths.back()).substr(descriptorPath.size()));
    if (!options.deviceDescriptor) return failure(Reason::notADescriptor, paths.back());
  }
  return options;
}

}  // namespace quillbrook
