// SPDX-License-Identifier: MIT
#include "App/CommandLineVersion.h"
#include "App/LaunchRecord.h"
#include "App/RunMode.h"
#include "Settings/SettingsKeys.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

TEST(RunMode, FollowsTheArgumentsWhateverTheirOrder) {
  const std::vector<std::pair<std::vector<std::string>, RunMode>> cases{
      {{}, RunMode::gui},
      {{"quillbrook"}, RunMode::gui},
      {{"--help"}, RunMode::gui},
      {{"quillbrook", "--auto-recompress", "--auto-recompress"}, RunMode::headlessAutoRecompress},
      {{"quillbrook", "--auto-recompress", "--help"}, RunMode::help},
      {{"quillbrook", "--version", "-h"}, RunMode::help},
      {{"quillbrook", "--auto-recompress", "-V"}, RunMode::version},
      {{"quillbrook", "-v", "-H", "--Help", "--help=", "", "--auto-recompress=1", "help"}, RunMode::gui},
  };
  for (const auto& [arguments, mode] : cases) {
    EXPECT_EQ(runMode(arguments), mode) << testing::PrintToString(arguments);
  }
}

TEST(CommandLineVersion, WhatTheBuildDoesNotTellIsZero) {
  EXPECT_EQ(CommandLineVersion::text([](std::string_view) { return std::nullopt; }), "Quillbrook 0.0.0 (build 0)\n");
  EXPECT_EQ(CommandLineVersion::text([](std::string_view key) -> std::optional<std::string_view> {
              return key == "CFBundleVersion" ? "42" : "1.2";
            }),
            "Quillbrook 1.2 (build 42)\n");
}

TEST(LaunchRecord, RemembersTheLaunchBefore) {
  const ScratchFolder folder;
  UserDefaults defaults(folder.path("defaults.json"));
  const Timestamp first{.seconds = 1'700'000'000, .nanoseconds = 5'000};
  const Timestamp second{.seconds = 1'700'000'100, .nanoseconds = 0};
  EXPECT_TRUE(LaunchRecord::record(defaults, first));
  EXPECT_EQ(defaults.get(SettingsKeys::previousLaunchAt), std::nullopt);
  EXPECT_TRUE(LaunchRecord::record(defaults, second));
  EXPECT_EQ(defaults.get(SettingsKeys::lastLaunchAt), second);
  EXPECT_EQ(defaults.get(SettingsKeys::previousLaunchAt), first);
  EXPECT_EQ(defaults.get(SettingsKeys::launchCount), 2);
}

}  // namespace
}  // namespace quillbrook
