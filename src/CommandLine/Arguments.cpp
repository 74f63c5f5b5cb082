// SPDX-License-Identifier: MIT
#include "CommandLine/Arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "CommandLine/OptionValues.h"
#include "Discovery/MegabyteText.h"
#include "Platform/BundleInfo.h"

namespace quillbrook::Arguments {
namespace {

constexpr unsigned maximumJobs = 8;
constexpr std::string_view programName = "quillbrookctl";

// CLI11 takes "[a,b]" for a list and "++" for the end of a verb; both are good file names. They travel behind a mark.
constexpr char nameMark = '\x01';

std::string guarded(const std::string& argument) {
  const bool isSpecial = argument.starts_with('[') || argument.starts_with(nameMark) || argument == "++";
  return isSpecial ? nameMark + argument : argument;
}

FilePath unguarded(std::string argument) {
  if (argument.starts_with(nameMark)) argument.erase(0, 1);
  return FilePath(std::move(argument));
}

// What CLI11 fills while it reads.
struct Values {
  std::vector<std::string> names;
  unsigned jobs = std::clamp(std::thread::hardware_concurrency(), 1U, maximumJobs);
  bool json = false;
  MountOptions mount;
  bool noSubfolders = false;
  bool yes = false;
  SearchForm form;
  std::string olderThan;
  std::string extensions;
  std::string every;
  bool includesCompressed = false;
  bool includesHidden = false;
  bool version = false;
};

// One verb and the command that it makes of the values. `paths` holds as many as `operands` allows.
enum class Operands : std::uint8_t { none, folder, paths, settingAtMost, settingAndValue };
struct Verb {
  CLI::App* app;
  Operands operands;
  Command (*make)(const Values& values, const std::vector<FilePath>& paths);
};

// CLI11 shows names as left out at will, since what stands behind "--" is no business of its own.
class Formatter : public CLI::Formatter {
 public:
  std::string make_option_usage(const CLI::Option* option) const override {
    return make_option_name(option, true) + (option->get_name() == "PATH" ? "..." : "");
  }
};

class Grammar {
 public:
  Grammar() {
    const auto formatter = std::make_shared<Formatter>();
    formatter->label("SUBCOMMAND", "VERB");
    app_.formatter(formatter);
    app_.description("Compresses files in place; a mounted volume shows them to every program as they were.");
    app_.footer(
        "'--' ends the options. Exit codes: 0 done, 1 failed, 2 wrong usage, 3 finished but files failed,\n"
        "4 damage found, 130 and 143 stopped by a signal, 141 nobody reads the results.");
    app_.require_subcommand(0, 1);
    app_.add_flag("--version", values_.version, "Print the version and exit");

    CLI::App* compress = addPathVerb(app_, "compress", "Compress files, and those in folders that are worth it",
                                     &makeOperation<OperationKind::compress>);
    addJobs(*compress);
    CLI::App* decompress = addPathVerb(app_, "decompress", "Turn compressed files back into ordinary ones",
                                       &makeOperation<OperationKind::decompress>);
    addJobs(*decompress);
    addPathVerb(app_, "inspect", "Show state, algorithm, logical and physical size of files",
                [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                  return InspectCommand{paths, values.json};
                });
    addRegistryVerbs();
    addSearchVerbs();
    addSettingsVerbs();
    addScheduleVerbs();
    addVolumeVerbs();
  }

  std::expected<Command, ArgumentsAnswer> parse(std::span<const std::string> arguments) {
    // What stands behind "--" never reaches CLI11, so that no name there can be mistaken for anything else.
    const auto mark = std::ranges::find(arguments, "--");
    std::vector<std::string> head;
    for (auto argument = arguments.begin(); argument != mark; ++argument) head.push_back(guarded(*argument));
    std::ranges::reverse(head);  // CLI11 takes them from the back

    try {
      app_.parse(std::move(head));
    } catch (const CLI::CallForHelp&) {
      // For the line of usage alone: a missing verb is told below in our words, and --version needs none.
      app_.require_subcommand(1);
      for (CLI::App* group : groups_) group->require_subcommand(1);
      return std::unexpected(ArgumentsAnswer{.isWrongUsage = false, .text = app_.help()});
    } catch (const CLI::ExtrasError&) {
      const auto extras = app_.remaining(true);
      return wrongUsage("'" + unguarded(extras.front()).displayText() + "' is not known here" + knownVerbs());
    } catch (const CLI::ParseError& error) {
      const std::string_view words = error.what();
      const std::string_view option = words.substr(0, words.find(':'));
      const auto taken = OptionValues::expected(option);
      return wrongUsage(taken.empty() ? std::string(words) : fmt::format("{} takes {}", option, taken));
    }
    if (values_.version) {
      const auto version = BundleInfo::string("CFBundleShortVersionString").value_or("0.0.0");
      return std::unexpected(ArgumentsAnswer{false, fmt::format("{} {}\n", programName, version)});
    }

    std::vector<FilePath> paths;
    paths.reserve(values_.names.size());
    for (std::string& name : values_.names) paths.push_back(unguarded(std::move(name)));
    if (mark != arguments.end()) {
      for (auto name = std::next(mark); name != arguments.end(); ++name) paths.emplace_back(*name);
    }
    return finish(paths);
  }

 private:
  using Make = Command (*)(const Values& values, const std::vector<FilePath>& paths);

  template <OperationKind kind>
  static Command makeOperation(const Values& values, const std::vector<FilePath>& paths) {
    return OperationCommand{kind, paths, values.jobs, values.json};
  }

  CLI::App* addPathVerb(CLI::App& parent, const std::string& verb, const std::string& description, Make make) {
    CLI::App* app = parent.add_subcommand(verb, description);
    app->add_option("PATH", values_.names, "Files and folders")->type_name("");
    addJson(*app);
    verbs_.push_back({app, Operands::paths, make});
    return app;
  }

  CLI::App* addFolderVerb(CLI::App& parent, const std::string& verb, const std::string& description, Make make,
                          const std::string& folder = "The volume's folder") {
    CLI::App* app = parent.add_subcommand(verb, description);
    app->add_option("DIR", values_.names, folder)->type_name("");
    verbs_.push_back({app, Operands::folder, make});
    return app;
  }

  void addJson(CLI::App& app) {
    app.add_flag("--json", values_.json, "Print one JSON object a line")->disable_flag_override();
  }

  void addJobs(CLI::App& app) {
    app.add_option("--jobs", values_.jobs, "Files at once, 1 to 8; as many as there are processors unless told")
        ->type_name("N")
        ->take_last()
        ->check(CLI::Range(1U, maximumJobs).description(""));
  }

  void addNoSubfolders(CLI::App& app) {
    app.add_flag("--no-subfolders", values_.noSubfolders, "Only what lies directly in a folder");
  }

  // Several verbs under one word.
  CLI::App& addGroup(const std::string& word, const std::string& description) {
    CLI::App* group = app_.add_subcommand(word, description);
    group->require_subcommand(0, 1);
    groups_.push_back(group);
    return *group;
  }

  void addRegistryVerbs() {
    CLI::App* add = addPathVerb(app_, "add", "Register files and folders, so that they are kept compressed",
                                [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                                  return AddCommand{paths, !values.noSubfolders, values.yes, values.json};
                                });
    addNoSubfolders(*add);
    add->add_flag("--yes", values_.yes, "Register what a cloud service mirrors without asking");
    addPathVerb(app_, "remove", "Take files and folders out of the registry; they stay as they are",
                [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                  return RemoveCommand{paths, values.json};
                });
    CLI::App* list = app_.add_subcommand("list", "Show what is registered and what it holds");
    addJson(*list);
    verbs_.push_back({list, Operands::none, [](const Values& values, const std::vector<FilePath>&) -> Command {
                        return ListCommand{values.json};
                      }});
    CLI::App* recompress = app_.add_subcommand("recompress", "Compress what is registered, as the schedule does");
    verbs_.push_back({recompress, Operands::none,
                      [](const Values&, const std::vector<FilePath>&) -> Command { return RecompressCommand{}; }});
  }

  void addSearchVerbs() {
    CLI::App* search = addFolderVerb(
        app_, "search", "Find files that are worth registering",
        [](const Values& values, const std::vector<FilePath>& paths) -> Command {
          SearchCommand command{values.form, values.json};
          command.form.rootURL = paths.front();
          command.form.recursive = !values.noSubfolders;
          command.form.excludeAlreadyCompressed = !values.includesCompressed;
          command.form.excludeHidden = !values.includesHidden;
          command.form.extPreset = OptionValues::preset(values.extensions).value_or(command.form.extPreset);
          if (const auto age = OptionValues::age(values.olderThan)) {
            command.form.dateMode = SearchForm::DateMode::olderThan;
            command.form.dateValue = age->value;
            command.form.dateUnit = age->unit;
          }
          return command;
        },
        "The folder to search");
    addNoSubfolders(*search);
    addValue(*search, "--older-than", values_.olderThan, "AGE", "Not changed for so long: 6months, 1year",
             [](const std::string& text) { return OptionValues::age(text).has_value(); });
    const auto isSize = [](const std::string& text) { return text.empty() || MegabyteText::bytes(text).has_value(); };
    addValue(*search, "--min-size", values_.form.minSizeMB, "MB", "At least so many megabytes; 10 unless told", isSize);
    addValue(*search, "--max-size", values_.form.maxSizeMB, "MB", "At most so many megabytes", isSize);
    addValue(*search, "--extensions", values_.extensions, "KIND",
             "Kinds of file: all, text, sourceCode or binary; all unless told",
             [](const std::string& text) { return OptionValues::preset(text).has_value(); });
    search->add_flag("--compressed", values_.includesCompressed, "Those that are compressed already too");
    search->add_flag("--hidden", values_.includesHidden, "Hidden ones too");
    addJson(*search);
    CLI::App* count = addFolderVerb(
        app_, "count", "Count the files that registering a folder would take in",
        [](const Values& values, const std::vector<FilePath>& paths) -> Command {
          return CountCommand{paths.front(), !values.noSubfolders, values.json};
        },
        "The folder to count");
    addNoSubfolders(*count);
    addJson(*count);
  }

  static void addValue(CLI::App& app, const std::string& option, std::string& value, const std::string& typeName,
                       const std::string& description, const std::function<bool(const std::string&)>& isGood) {
    app.add_option(option, value, description)
        ->type_name(typeName)
        ->take_last()
        ->check(CLI::Validator([isGood](std::string& text) { return std::string(isGood(text) ? "" : "wrong"); }, ""));
  }

  void addSettingsVerbs() {
    CLI::App& defaults = addGroup("defaults", "Show and change settings");
    CLI::App* get = addWordsVerb(defaults, "get", "Show one setting, or all", "NAME", Operands::settingAtMost,
                                 [](const Values& values, const std::vector<FilePath>& words) -> Command {
                                   DefaultsGetCommand command;
                                   command.json = values.json;
                                   if (!words.empty()) command.name = words.front().bytes();
                                   return command;
                                 });
    addJson(*get);
    CLI::App* set = addWordsVerb(defaults, "set", "Change a setting: its name, and its value", "NAME VALUE",
                                 Operands::settingAndValue,
                                 [](const Values& values, const std::vector<FilePath>& words) -> Command {
                                   return DefaultsSetCommand{words[0].bytes(), words[1].bytes(), values.json};
                                 });
    addJson(*set);
  }

  void addScheduleVerbs() {
    CLI::App& schedule = addGroup("schedule", "Have the unattended run started by systemd");
    CLI::App* enable =
        addPlainVerb(schedule, "enable", "Start it at every interval, on mains power",
                     [](const Values& values, const std::vector<FilePath>&) -> Command {
                       return ScheduleEnableCommand{scheduleInterval(values.every).value_or(ScheduleInterval::weekly)};
                     });
    addValue(*enable, "--every", values_.every, "INTERVAL", "daily, weekly or monthly; weekly unless told",
             [](const std::string& text) { return scheduleInterval(text).has_value(); });
    addPlainVerb(schedule, "disable", "Undo 'schedule enable'",
                 [](const Values&, const std::vector<FilePath>&) -> Command { return ScheduleDisableCommand{}; });
    CLI::App* status = addPlainVerb(schedule, "status", "Show whether it is started, and when",
                                    [](const Values& values, const std::vector<FilePath>&) -> Command {
                                      return ScheduleStatusCommand{values.json};
                                    });
    addJson(*status);
  }

  // One that takes no names.
  CLI::App* addPlainVerb(CLI::App& parent, const std::string& verb, const std::string& description, Make make) {
    CLI::App* app = parent.add_subcommand(verb, description);
    verbs_.push_back({app, Operands::none, make});
    return app;
  }

  CLI::App* addWordsVerb(CLI::App& parent, const std::string& verb, const std::string& description,
                         const std::string& words, Operands operands, Make make) {
    CLI::App* app = parent.add_subcommand(verb, description);
    app->add_option(words, values_.names)->type_name("");
    verbs_.push_back({app, operands, make});
    return app;
  }

  void addVolumeVerbs() {
    CLI::App& volume = addGroup("volume", "Mount and look after volumes");
    CLI::App* mount = addFolderVerb(volume, "mount", "Mount a volume over its own folder",
                                    [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                                      return VolumeMountCommand{paths.front(), values.mount};
                                    });
    mount->add_flag("--read-only", values_.mount.readOnly, "Let nobody write through the mount");
    mount->add_flag("--allow-other", values_.mount.allowOther, "Let other users reach into the volume");
    mount->add_flag("--foreground", values_.mount.foreground, "Stay until the volume is unmounted");
    mount->add_flag("--force", values_.mount.force, "Mount even where the system or the volume itself has its files");
    addFolderVerb(volume, "unmount", "Unmount a volume",
                  [](const Values&, const std::vector<FilePath>& paths) -> Command {
                    return VolumeUnmountCommand{paths.front()};
                  });
    CLI::App* list = addPlainVerb(
        volume, "list", "List the mounted volumes",
        [](const Values& values, const std::vector<FilePath>&) -> Command { return VolumeListCommand{values.json}; });
    addJson(*list);
    CLI::App* check = addFolderVerb(volume, "check", "Decode and verify every compressed file, and change nothing",
                                    [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                                      return VolumeCheckCommand{paths.front(), values.json};
                                    });
    addJson(*check);
    addFolderVerb(volume, "restore", "Without a mount, turn every compressed file back into an ordinary one",
                  [](const Values&, const std::vector<FilePath>& paths) -> Command {
                    return VolumeRestoreCommand{paths.front()};
                  });
    CLI::App* enable = addFolderVerb(volume, "enable", "Mount a volume now and at every login",
                                     [](const Values& values, const std::vector<FilePath>& paths) -> Command {
                                       return VolumeEnableCommand{paths.front(), values.mount.force};
                                     });
    enable->add_flag("--force", values_.mount.force, "Enable even where the system or the volume itself has its files");
    addFolderVerb(volume, "disable", "Undo 'volume enable'",
                  [](const Values&, const std::vector<FilePath>& paths) -> Command {
                    return VolumeDisableCommand{paths.front()};
                  });
  }

  std::expected<Command, ArgumentsAnswer> finish(const std::vector<FilePath>& paths) {
    const auto verb = std::ranges::find_if(verbs_, [](const Verb& v) { return v.app->parsed(); });
    if (verb == verbs_.end()) {
      const CLI::App* group = parsedGroup();
      return wrongUsage((group != nullptr ? "'" + group->get_name() + "' needs a verb" : "a verb is needed") +
                        knownVerbs());
    }
    switch (verb->operands) {
      case Operands::none:
        if (!paths.empty()) return wrongUsage("no name is expected here: " + paths.front().displayText());
        break;
      case Operands::folder:
        if (paths.size() != 1) return wrongUsage("exactly one folder is needed");
        break;
      case Operands::paths:
        if (paths.empty()) return wrongUsage("at least one file or folder is needed");
        break;
      case Operands::settingAtMost:
        if (paths.size() > 1) return wrongUsage("at most one setting is expected");
        break;
      case Operands::settingAndValue:
        if (paths.size() != 2) return wrongUsage("a setting and its value are needed");
        break;
    }
    return verb->make(values_, paths);
  }

  [[nodiscard]] const CLI::App* parsedGroup() const {
    const auto group = std::ranges::find_if(groups_, [](const CLI::App* app) { return app->parsed(); });
    return group == groups_.end() ? nullptr : *group;
  }

  // ": mount, unmount" where a verb is still to come.
  [[nodiscard]] std::string knownVerbs() const {
    const CLI::App* group = parsedGroup();
    const CLI::App& app = group != nullptr ? *group : app_;
    if (!app.get_subcommands().empty()) return {};
    std::string text;
    for (const CLI::App* verb : app.get_subcommands(nullptr)) {
      text += (text.empty() ? ": " : ", ") + verb->get_name();
    }
    return text;
  }

  [[nodiscard]] std::unexpected<ArgumentsAnswer> wrongUsage(std::string_view words) const {
    std::string program(programName);
    for (const CLI::App* app = &app_; !app->get_subcommands().empty();) {
      app = app->get_subcommands().front();
      program += ' ' + app->get_name();
    }
    return std::unexpected(ArgumentsAnswer{
        true, fmt::format("{}: wrong usage: {}\nTo see what is possible: {} --help\n", programName, words, program)});
  }

  CLI::App app_{"", std::string(programName)};
  std::vector<CLI::App*> groups_;
  Values values_;
  std::vector<Verb> verbs_;
};

}  // namespace

std::expected<Command, ArgumentsAnswer> parse(std::span<const std::string> arguments) {
  return Grammar().parse(arguments);
}

}  // namespace quillbrook::Arguments
