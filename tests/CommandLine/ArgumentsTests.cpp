// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CommandLine/Arguments.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

std::vector<FilePath> paths(const Words& names) {
  std::vector<FilePath> paths;
  for (const std::string& name : names) paths.emplace_back(name);
  return paths;
}

TEST(Arguments, NamesArriveAsTheyAre) {
  const struct {
    Words arguments;
    Words names;
  } cases[] = {
      {{"compress", "a", "b"}, {"a", "b"}},
      {{"compress", "[a,b]", "[]", "++", "\x01[x"}, {"[a,b]", "[]", "++", "\x01[x"}},
      {{"compress", "inspect", "volume", "compress"}, {"inspect", "volume", "compress"}},
      {{"compress", "--", "--help", "--", "-x", "[a]"}, {"--help", "--", "-x", "[a]"}},
      {{"compress", "--jobs", "1", "--", "--jobs"}, {"--jobs"}},
      {{"compress", "a", "--json", "b", "--", "--json"}, {"a", "b", "--json"}},
      {{"compress", "\xff\n", "", "-", "/"}, {"\xff\n", "", "-", "/"}},
  };
  for (const auto& [arguments, names] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto command = Arguments::parse(arguments);
    ASSERT_TRUE(command.has_value()) << command.error().text;
    EXPECT_EQ(std::get<OperationCommand>(*command).paths, paths(names));
  }
}

TEST(Arguments, WrongUsageSaysWhatIsWrongAndWhereToLook) {
  const struct {
    Words arguments;
    std::string words;
  } cases[] = {
      {{}, "a verb is needed"},
      {{"compact", "a"}, "compact"},
      {{"compress"}, "at least one file or folder"},
      {{"compress", "--"}, "quillbrookctl compress --help"},
      {{"compress", "--fast", "a"}, "--fast"},
      {{"compress", "--jobs", "0", "a"}, "0"},
      {{"compress", "--jobs", "9", "a"}, "9"},
      {{"compress", "--jobs", "two", "a"}, "two"},
      {{"compress", "--jobs"}, "--jobs"},
      {{"inspect", "--jobs", "2", "a"}, "--jobs"},
      {{"volume"}, "'volume' needs a verb"},
      {{"volume", "mount"}, "exactly one folder"},
      {{"volume", "mount", "a", "b"}, "DIR"},
      {{"volume", "mount", "a", "--", "b"}, "exactly one folder"},
      {{"volume", "unmount", "--force", "a"}, "quillbrookctl volume unmount --help"},
      {{"volume", "list", "a"}, "a"},
      {{"volume", "list", "--", "a"}, "no name is expected"},
      {{"--", "compress", "a"}, "a verb is needed"},
  };
  for (const auto& [arguments, words] : cases) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto command = Arguments::parse(arguments);
    ASSERT_FALSE(command.has_value());
    EXPECT_TRUE(command.error().isWrongUsage);
    EXPECT_THAT(command.error().text, HasSubstr(words));
    EXPECT_THAT(command.error().text, HasSubstr("--help\n"));
  }
}

TEST(Arguments, HelpOfEveryVerbNamesItsOptions) {
  const struct {
    Words verb;
    std::string option;
  } cases[] = {{{}, "--version"},
               {{"compress"}, "--jobs"},
               {{"decompress"}, "--jobs"},
               {{"inspect"}, "--json"},
               {{"volume"}, "restore"},
               {{"volume", "mount"}, "--foreground"},
               {{"volume", "unmount"}, "DIR"},
               {{"volume", "list"}, "--json"},
               {{"volume", "check"}, "--json"},
               {{"volume", "restore"}, "DIR"},
               {{"volume", "enable"}, "--force"},
               {{"volume", "disable"}, "DIR"}};
  for (auto [arguments, option] : cases) {
    arguments.emplace_back("--help");
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto command = Arguments::parse(arguments);
    ASSERT_FALSE(command.has_value());
    EXPECT_FALSE(command.error().isWrongUsage);
    EXPECT_THAT(command.error().text, HasSubstr(option));
  }
  EXPECT_THAT(Arguments::parse(Words{"--version"}).error().text, testing::MatchesRegex("quillbrookctl [0-9.]+\n"));
}

TEST(Arguments, OptionsReachTheirCommands) {
  const auto jobs = [](const Words& words) { return std::get<OperationCommand>(Arguments::parse(words).value()).jobs; };
  EXPECT_EQ(jobs({"compress", "--jobs", "1", "a"}), 1U);
  EXPECT_EQ(jobs({"decompress", "a", "--jobs=8"}), 8U);
  EXPECT_THAT(jobs({"compress", "a"}), testing::AllOf(testing::Ge(1U), testing::Le(8U)));

  const auto decompress = Arguments::parse(Words{"decompress", "--json", "a"}).value();
  EXPECT_EQ(std::get<OperationCommand>(decompress).kind, OperationKind::decompress);
  EXPECT_TRUE(std::get<OperationCommand>(decompress).json);

  const auto plain = std::get<VolumeMountCommand>(Arguments::parse(Words{"volume", "mount", "d"}).value());
  EXPECT_FALSE(plain.options.readOnly || plain.options.allowOther || plain.options.foreground || plain.options.force);
  const auto full = std::get<VolumeMountCommand>(
      Arguments::parse(Words{"volume", "mount", "--read-only", "--allow-other", "--foreground", "--force", "d"})
          .value());
  EXPECT_TRUE(full.options.readOnly && full.options.allowOther && full.options.foreground && full.options.force);
  EXPECT_EQ(full.folder, FilePath("d"));
  for (const Words& words : {Words{"volume", "unmount", "[v]"}, Words{"volume", "unmount", "--", "[v]"}}) {
    EXPECT_EQ(std::get<VolumeUnmountCommand>(Arguments::parse(words).value()).folder, FilePath("[v]"));
  }
}

}  // namespace
}  // namespace quillbrook
