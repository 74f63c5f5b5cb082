// SPDX-License-Identifier: MIT

#include "CommandLine/Arguments.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

TEST(Arguments, NamesArriveAsTheyAre) {
  struct Case {
    Words arguments;
    Words names;
  };
  const std::vector<Case> cases{
      {{"compress", "[a,b]", "[]", "++", "\x01[x"}, {"[a,b]", "[]", "++", "\x01[x"}},
      {{"compress", "inspect", "volume", "compress"}, {"inspect", "volume", "compress"}},
      {{"compress", "--jobs", "1", "--", "--help", "--", "-x", "[a]"}, {"--help", "--", "-x", "[a]"}},
      {{"compress", "a", "--json", "b", "--", "--json"}, {"a", "b", "--json"}},
      {{"compress", "\xff\n", "", "-", "/"}, {"\xff\n", "", "-", "/"}},
  };
  for (const auto& [arguments, names] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto command = Arguments::parse(arguments);
    ASSERT_TRUE(command.has_value()) << command.error().text;
    Words arrived;
    for (const FilePath& path : std::get<OperationCommand>(*command).paths) arrived.push_back(path.bytes());
    EXPECT_EQ(arrived, names);
  }
}

TEST(Arguments, WrongUsageAndHelpSayWhatToDo) {
  struct Case {
    Words arguments;
    std::string words;
    bool isWrongUsage = true;
  };
  const std::vector<Case> cases{
      {{}, "a verb is needed"},
      {{"compact", "a"}, "'compact' is not known here: compress, decompress, inspect, add,"},
      {{"volume", "sync"}, "'sync' is not known here: mount, unmount,"},
      {{"compress", "--"}, "quillbrookctl compress --help"},
      {{"compress", "--jobs", "0", "a"}, "--jobs takes a number from 1 to 8\n"},
      {{"compress", "--jobs", "9", "a"}, "--jobs takes a number from 1 to 8\n"},
      {{"compress", "--jobs", "1.5", "a"}, "--jobs takes a number from 1 to 8\n"},
      {{"compress", "a", "--jobs"}, "--jobs takes a number from 1 to 8\n"},
      {{"compress", "--json=false", "a"}, "json"},
      {{"inspect", "--jobs", "2", "a"}, "--jobs"},
      {{"search", "d", "--min-size", "x"}, "--min-size takes a number of megabytes"},
      {{"search", "d", "--min-size", "-3"}, "--min-size takes a number of megabytes"},
      {{"search", "d", "--max-size=-3"}, "--max-size takes a number of megabytes"},
      {{"search", "d", "--older-than", "-1years"}, "--older-than takes a number of months or years"},
      {{"search", "d", "--older-than", "99999999999999years"}, "--older-than takes a number of months or years"},
      {{"search", "d", "--older-than", "3"}, "--older-than takes a number of months or years"},
      {{"search", "d", "--extensions", "Text"}, "--extensions takes all, text, sourceCode or binary"},
      {{"search"}, "exactly one folder"},
      {{"count", "a", "b"}, "exactly one folder"},
      {{"add"}, "at least one file or folder"},
      {{"recompress", "a"}, "'a' is not known here"},
      {{"schedule", "enable", "--every", "hour"}, "--every takes daily, weekly or monthly"},
      {{"schedule", "status", "--every", "daily"}, "--every"},
      {{"defaults"}, "'defaults' needs a verb: get, set"},
      {{"defaults", "get", "a", "b"}, "at most one setting"},
      {{"defaults", "set", "a"}, "a setting and its value"},
      {{"volume"}, "'volume' needs a verb"},
      {{"volume", "mount"}, "exactly one folder"},
      {{"volume", "mount", "a", "--", "b"}, "exactly one folder"},
      {{"volume", "unmount", "--force", "a"}, "quillbrookctl volume unmount --help"},
      {{"volume", "list", "--", "a"}, "no name is expected"},
      {{"--", "compress", "a"}, "a verb is needed"},
      {{"--help"}, "--version", false},
      {{"--help"}, "[OPTIONS] VERB\n", false},
      {{"volume", "--help"}, "[OPTIONS] VERB\n", false},
      {{"compress", "--help"}, " PATH...", false},
      {{"inspect", "--help"}, "--json", false},
      {{"volume", "mount", "--help"}, " DIR", false},
      {{"volume", "enable", "--help"}, "--force", false},
      {{"--version"}, "quillbrookctl ", false},
  };
  for (const auto& [arguments, words, isWrongUsage] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto command = Arguments::parse(arguments);
    ASSERT_FALSE(command.has_value());
    EXPECT_EQ(command.error().isWrongUsage, isWrongUsage);
    EXPECT_THAT(command.error().text, HasSubstr(words));
    if (isWrongUsage) {
      EXPECT_THAT(command.error().text, HasSubstr("--help\n"));
    }
  }
}

TEST(Arguments, OptionsReachTheirCommands) {
  const auto operation = [](const Words& words) { return std::get<OperationCommand>(Arguments::parse(words).value()); };
  EXPECT_EQ(operation({"compress", "--jobs", "1", "a"}).jobs, 1U);
  EXPECT_THAT(operation({"compress", "a"}).jobs, testing::AllOf(testing::Ge(1U), testing::Le(8U)));
  const OperationCommand decompress = operation({"decompress", "a", "--jobs=8", "--json"});
  EXPECT_EQ(decompress.kind, OperationKind::decompress);
  EXPECT_TRUE(decompress.jobs == 8 && decompress.json);

  SearchForm form;
  form.rootURL = FilePath("d");
  EXPECT_EQ(std::get<SearchCommand>(Arguments::parse(Words{"search", "d"}).value()).form, form);
  form = {.rootURL = FilePath("d"),
          .recursive = false,
          .dateMode = SearchForm::DateMode::olderThan,
          .dateValue = 18,
          .dateUnit = DateUnit::month,
          .minSizeMB = "1.5",
          .maxSizeMB = "1e3",
          .extPreset = ExtensionPreset::sourceCode,
          .excludeAlreadyCompressed = false,
          .excludeHidden = false};
  EXPECT_EQ(std::get<SearchCommand>(Arguments::parse(Words{"search", "--no-subfolders", "--older-than", "18months",
                                                           "--min-size=1.5", "--max-size", "1e3", "--extensions",
                                                           "sourceCode", "--compressed", "--hidden", "d"})
                                        .value())
                .form,
            form);
  const auto add = std::get<AddCommand>(Arguments::parse(Words{"add", "--yes", "a", "[b]"}).value());
  EXPECT_TRUE(add.yes && add.includeSubfolders && !add.json);
  EXPECT_EQ(add.paths, (std::vector{FilePath("a"), FilePath("[b]")}));
  EXPECT_FALSE(std::get<AddCommand>(Arguments::parse(Words{"add", "--no-subfolders", "a"}).value()).includeSubfolders);

  const auto interval = [](const Words& words) {
    return std::get<ScheduleEnableCommand>(Arguments::parse(words).value()).interval;
  };
  EXPECT_EQ(interval({"schedule", "enable"}), ScheduleInterval::weekly);
  EXPECT_EQ(interval({"schedule", "enable", "--every", "monthly"}), ScheduleInterval::monthly);

  // Each option alone, so that none answers for another.
  const Words options{"--read-only", "--allow-other", "--foreground", "--force"};
  for (std::size_t i = 0; i < options.size(); ++i) {
    const auto command =
        std::get<VolumeMountCommand>(Arguments::parse(Words{"volume", "mount", options[i], "d"}).value());
    const MountOptions& seen = command.options;
    EXPECT_EQ((std::vector{seen.readOnly, seen.allowOther, seen.foreground, seen.force}),
              (std::vector{i == 0, i == 1, i == 2, i == 3}))
        << options[i];
    EXPECT_EQ(command.folder, FilePath("d"));
  }
  EXPECT_EQ(std::get<VolumeUnmountCommand>(Arguments::parse(Words{"volume", "unmount", "--", "[v]"}).value()).folder,
            FilePath("[v]"));
}

}  // namespace
}  // namespace quillbrook
