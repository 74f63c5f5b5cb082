// SPDX-License-Identifier: MIT
#include "Settings/Setting.h"
#include "Settings/SettingsKeys.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

TEST(Settings, TakesTheValuesOfEachAndNoOthers) {
  const ScratchFolder folder;
  UserDefaults defaults(folder.path("defaults.json"));
  struct Case {
    const char* name;
    std::string before;
    std::vector<std::string> good;  // each as it reads afterwards
    std::vector<std::string> bad;
  };
  const std::vector<Case> cases{
      {"ratioDisplayMode", "remaining", {"reduction", "remaining"}, {"", "Reduction", "all"}},
      {"weeklyReminderEnabled", "true", {"false", "true"}, {"", "1", "yes", "True"}},
      {"logRetentionDays",
       "90",
       {"1", "365"},
       {"0", "366", "-1", "1.5", "1e2", " 7", "7 ", "", "99999999999999999999"}},
      {"logRetentionMaxCount", "10000", {"100", "100000"}, {"99", "100001"}},
      {"hasShownFirstLaunchAbout", "false", {"true"}, {"x"}},
      {"mainTableColumns", "", {"名前:240", ""}, {"\xff"}},
      {"registeredItemCountCache", "0", {"7", "9223372036854775807"}, {"-1", "9223372036854775808"}},
      {"minStarsFilter", "0", {"5"}, {"6", "-1"}},
      {"statusFilter", "all", {"compressed", "uncompressed", "error"}, {"failed"}},
      {"sizeFilter", "all", {"small", "medium", "large", "huge"}, {"tiny"}},
      {"kindFilter", "all", {"file", "folder"}, {"link"}},
      {"launchCount", "0", {"3"}, {"three"}},
      {"lastLaunchAt", "", {"2026-11-24T03:00:00Z"}, {"", "yesterday", "2026-13-01T00:00:00Z"}},
      {"previousLaunchAt", "", {"1999-12-31T23:59:59Z"}, {"0"}},
  };
  ASSERT_EQ(Settings::all().size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& [settingName, before, good, bad] = cases[i];
    const Setting* setting = Settings::named(settingName);
    ASSERT_EQ(setting, &Settings::all()[i]) << settingName;
    const auto text = [&] { return Settings::text(Settings::value(*setting, defaults)); };
    EXPECT_EQ(text(), before) << settingName;
    for (const std::string& value : good) {
      EXPECT_TRUE(Settings::set(*setting, value, defaults)) << settingName << ' ' << value;
      EXPECT_EQ(text(), value) << settingName;
    }
    for (const std::string& value : bad) {
      const auto refused = Settings::set(*setting, value, defaults);
      ASSERT_FALSE(refused) << settingName << ' ' << value;
      EXPECT_FALSE(std::get<NoSuchValue>(refused.error()).expected.empty());
      EXPECT_EQ(text(), good.back()) << settingName;
    }
  }
  EXPECT_EQ(Settings::named("statusfilter"), nullptr);
  EXPECT_EQ(defaults.get(SettingsKeys::logRetentionDays), 365);
}

TEST(Settings, TellsWhatIsExpectedAndWhyNothingWasWritten) {
  const ScratchFolder folder;
  folder.write("file", "");
  UserDefaults unwritable(folder.path("file/defaults.json"));
  const Setting& kind = *Settings::named("kindFilter");
  EXPECT_EQ(Settings::set(kind, "x", unwritable).error(), SettingError(NoSuchValue{"all, file or folder"}));
  EXPECT_EQ(Settings::set(kind, "file", unwritable).error(), SettingError(SettingsNotWritten{ErrorNumber{ENOTDIR}}));
  EXPECT_EQ(Settings::set(*Settings::named("launchCount"), "-1", unwritable).error(),
            SettingError(NoSuchValue{"a whole number from 0 on"}));
}

}  // namespace
}  // namespace quillbrook
