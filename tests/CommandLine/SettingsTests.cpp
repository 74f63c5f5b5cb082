// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "CommandLineFixture.h"

namespace quillbrook {
namespace {

using testing::HasSubstr;

using SettingsTest = CommandLineTest;

TEST_F(SettingsTest, SettingsAreShownAndChanged) {
  EXPECT_EQ(run({"defaults", "get", "logRetentionDays"}), 0);
  EXPECT_EQ(out.str(), "90\n");
  EXPECT_EQ(run({"defaults", "set", "logRetentionDays", "--", "-3"}), 2);
  EXPECT_EQ(run({"defaults", "set", "logRetentionDays", "30"}), 0);
  EXPECT_EQ(run({"defaults", "get", "logRetentionDays", "--json"}), 0);
  EXPECT_EQ(objects().front(), Json({{"type", "setting"}, {"name", "logRetentionDays"}, {"value", 30}}));
  EXPECT_EQ(run({"defaults", "get"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("logRetentionDays = 30\n"));
  EXPECT_EQ(run({"defaults", "get", "LogRetentionDays"}), 2);
  std::filesystem::remove(store.at("defaults.json"));
  std::filesystem::create_directory(store.at("defaults.json"));
  EXPECT_EQ(run({"defaults", "set", "logRetentionDays", "40"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("as they were"));
  EXPECT_EQ(run({"defaults", "get"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("Is a directory"));
  std::filesystem::remove(store.at("defaults.json"));
  store.write("elsewhere.json", R"({"logRetentionDays": 7})");
  std::filesystem::create_symlink(store.at("elsewhere.json"), store.at("defaults.json"));
  EXPECT_EQ(run({"defaults", "set", "logRetentionDays", "8"}), 0);
  EXPECT_THAT(store.read("elsewhere.json"), HasSubstr("8")) << "a link stays a link";
  std::filesystem::remove(store.at("defaults.json"));
  ASSERT_EQ(mkfifo(store.at("defaults.json").c_str(), 0600), 0);
  EXPECT_EQ(run({"defaults", "get"}), 1) << "and nobody waits for somebody to write to it";
}

TEST_F(SettingsTest, TheScheduleIsShown) {
  ScheduleStatus status;
  status.isEnabled = true;
  status.calendar = "weekly";
  status.interval = ScheduleInterval::weekly;
  status.nextRun = Timestamp{.seconds = 1'764'461'840, .nanoseconds = 0};
  schedule.status = [&] { return status; };
  EXPECT_EQ(run({"schedule", "status", "--json"}), 0);
  EXPECT_EQ(objects().front(), Json({{"type", "schedule"},
                                     {"enabled", true},
                                     {"interval", "weekly"},
                                     {"calendar", "weekly"},
                                     {"manager", "running"},
                                     {"nextRun", "2025-11-30T00:17:20Z"},
                                     {"lastRun", nullptr}}));
  EXPECT_EQ(run({"schedule", "status"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("Last: never."));
  schedule.enable = [](ScheduleInterval) { return std::unexpected(ScheduleError(ScheduleErrors::ProgramMissing{})); };
  EXPECT_EQ(run({"schedule", "enable"}), 1);
  EXPECT_THAT(err.str(), testing::StartsWith("quillbrookctl: "));
}

}  // namespace
}  // namespace quillbrook
