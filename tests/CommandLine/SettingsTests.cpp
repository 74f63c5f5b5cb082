// SPDX-License-Identifier: MIT
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
}

}  // namespace
}  // namespace quillbrook
