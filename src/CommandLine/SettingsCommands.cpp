// SPDX-License-Identifier: MIT
#include "CommandLine/SettingsCommands.h"

#include <fmt/format.h>

#include <string>
#include <variant>

#include "CommandLine/ExitCode.h"
#include "CommandLine/PathText.h"
#include "CommandLine/RegistryLines.h"
#include "Settings/Setting.h"

namespace quillbrook::SettingsCommands {
namespace {

int unknown(const std::string& name, Io& io) {
  io.err << fmt::format("quillbrookctl: there is no setting '{}'; 'quillbrookctl defaults get' shows all\n",
                        PathText::shownMessage(name, io.errIsTerminal));
  return ExitCode::wrongUsage;
}

}  // namespace

int run(const DefaultsGetCommand& command, Io& io) {
  const Setting* one = command.name ? Settings::named(*command.name) : nullptr;
  if (command.name && one == nullptr) return unknown(*command.name, io);
  const auto readable = io.defaults.check();
  if (!readable) {
    io.err << fmt::format("quillbrookctl: the settings cannot be read, so that none counts; see to their file: {}\n",
                          readable.error() == ErrorNumber::invalid ? "it is damaged" : readable.error().text());
    return ExitCode::failed;
  }
  for (const Setting& setting : one != nullptr ? std::span(one, 1) : Settings::all()) {
    const auto value = Settings::value(setting, io.defaults);
    if (command.json) {
      io.out << RegistryLines::setting(setting, value) << '\n';
    } else {
      const std::string text = PathText::shownMessage(Settings::text(value), io.outIsTerminal);
      io.out << (one != nullptr ? text : fmt::format("{} = {}", name(setting), text)) << '\n';
    }
  }
  return ExitCode::done;
}

int run(const DefaultsSetCommand& command, Io& io) {
  const Setting* setting = Settings::named(command.name);
  if (setting == nullptr) return unknown(command.name, io);
  const auto done = Settings::set(*setting, command.value, io.defaults);
  if (!done) {
    if (const auto* refused = std::get_if<NoSuchValue>(&done.error())) {
      io.err << fmt::format("quillbrookctl: '{}' is no value for {}: it takes {}\n",
                            PathText::shownMessage(command.value, io.errIsTerminal), command.name, refused->expected);
      return ExitCode::wrongUsage;
    }
    io.err << fmt::format(
        "quillbrookctl: the settings cannot be written and are as they were; see to their folder: {}\n",
        std::get<SettingsNotWritten>(done.error()).reason.text());
    return ExitCode::failed;
  }
  if (command.json) io.out << RegistryLines::setting(*setting, Settings::value(*setting, io.defaults)) << '\n';
  return ExitCode::done;
}

}  // namespace quillbrook::SettingsCommands
