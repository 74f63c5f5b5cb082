// SPDX-License-Identifier: MIT
#include "Platform/Log.h"
#include "Platform/UserDefaults.h"
#include "Support/OrdinaryUser.h"
#include "Support/ScratchFolder.h"

namespace quillbrook {
namespace {

constexpr DefaultsKey<bool> flag{"flag", true};
constexpr DefaultsKey<std::int64_t> count{"count", 90};
constexpr DefaultsKey<std::string> word{"word", "all"};
constexpr DefaultsKey<std::optional<Timestamp>> date{"date"};

class UserDefaultsTest : public testing::Test {
 protected:
  const ScratchFolder folder_;
  const FilePath file_ = folder_.path("new/folder/defaults.json");
};

TEST_F(UserDefaultsTest, KeepsWhatIsSetForTheNextProcess) {
  const Timestamp instant{.seconds = -1, .nanoseconds = 120'000'000};
  {
    UserDefaults defaults(file_);
    EXPECT_EQ(defaults.get(flag), true);
    EXPECT_EQ(defaults.get(count), 90);
    EXPECT_EQ(defaults.get(word), "all");
    EXPECT_EQ(defaults.get(date), std::nullopt);
    EXPECT_FALSE(folder_.exists("new")) << "reading makes nothing";
    EXPECT_TRUE(defaults.set(flag, false));
    EXPECT_TRUE(defaults.set(count, INT64_MIN));
    EXPECT_TRUE(defaults.set(word, "日本語\n\"\x01"));
    EXPECT_TRUE(defaults.set(date, instant));
    EXPECT_EQ(defaults.set(word, "\xff").error(), ErrorNumber::invalid);
  }
  UserDefaults next(file_);
  EXPECT_EQ(next.get(flag), false);
  EXPECT_EQ(next.get(count), INT64_MIN);
  EXPECT_EQ(next.get(word), "日本語\n\"\x01");
  EXPECT_EQ(next.get(date), instant);
  EXPECT_EQ(next.get(DefaultsKey<bool>{"count", true}), true) << "of another type";
  folder_.write("big.json", R"({"count": 18446744073709551615})");
  EXPECT_EQ(UserDefaults(folder_.path("big.json")).get(count), 90) << "more than 64 bits with a sign hold";
  EXPECT_TRUE(next.set(date, std::nullopt));
  EXPECT_EQ(next.value("date"), std::nullopt);
}

TEST_F(UserDefaultsTest, TwoProcessesLoseNothingOfEachOther) {
  UserDefaults first(file_);
  UserDefaults second(file_);
  folder_.write("new/folder/defaults.json", R"({"unknown": [1, 2.5, null]})");
  {
    const std::jthread other([&] {
      for (std::int64_t i = 0; i <= 50; ++i) EXPECT_TRUE(second.set(count, i));
    });
    for (int i = 0; i <= 50; ++i) EXPECT_TRUE(first.set(word, std::to_string(i)));
  }
  EXPECT_EQ(first.get(count), 50);
  EXPECT_EQ(second.get(word), "50");
  EXPECT_TRUE(folder_.read("new/folder/defaults.json").contains("2.5"));
}

TEST_F(UserDefaultsTest, TellsObserversOfChangesAlone) {
  UserDefaults defaults(file_);
  std::vector<std::string> told;
  {
    const auto observation = defaults.observe([&](std::string_view name) {
      told.emplace_back(name);
      EXPECT_EQ(defaults.get(count), 7) << "it is so already";
    });
    EXPECT_TRUE(defaults.set(count, 7));
    EXPECT_TRUE(defaults.set(count, 7));
  }
  EXPECT_TRUE(defaults.set(count, 8));
  EXPECT_EQ(told, std::vector<std::string>{"count"});

  std::optional<UserDefaults::Observation> last;
  const auto ending = defaults.observe([&](std::string_view) { last.reset(); });
  last = defaults.observe([&](std::string_view name) { told.emplace_back(name); });
  EXPECT_TRUE(defaults.set(count, 9));
  EXPECT_EQ(told.size(), 1U) << "an observation that another observer ends is over";
}

TEST_F(UserDefaultsTest, SetsADamagedFileAside) {
  for (const char* damaged : {"{\"count\": ", "[]", "", "\xff\xfe"}) {
    SCOPED_TRACE(damaged);
    folder_.write("new/folder/defaults.json", damaged);
    UserDefaults defaults(file_);
    EXPECT_EQ(defaults.get(count), 90);
    EXPECT_EQ(folder_.read("new/folder/defaults.json.damaged"), damaged);
    EXPECT_EQ(Log::entries().back().message, "damaged settings, set aside as <private>");
    EXPECT_TRUE(defaults.set(count, 1));
    EXPECT_EQ(UserDefaults(file_).get(count), 1);
  }
}

TEST_F(UserDefaultsTest, WhatCannotBeReadIsNotWrittenOver) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  const ScratchFolder own;
  own.write("defaults.json", R"({"count": 1})");
  std::filesystem::permissions(own.at("defaults.json"), std::filesystem::perms::none);
  UserDefaults defaults(own.path("defaults.json"));
  EXPECT_EQ(defaults.get(count), 90);
  EXPECT_EQ(defaults.set(word, "x").error(), ErrorNumber::accessDenied);
  EXPECT_EQ(::chmod(own.at("defaults.json").c_str(), 0600), 0);
  EXPECT_EQ(UserDefaults(own.path("defaults.json")).get(count), 1);
}

TEST_F(UserDefaultsTest, WhatCannotBeWrittenHasNotChanged) {
  const OrdinaryUser user;
  if (!user.isOrdinary()) GTEST_SKIP() << "cannot become an ordinary user";
  const ScratchFolder own;
  UserDefaults defaults(own.path("defaults.json"));
  ASSERT_TRUE(defaults.set(count, 1));
  EXPECT_EQ(::chmod(own.folder().c_str(), 0555), 0);
  EXPECT_EQ(defaults.set(count, 2).error(), ErrorNumber::accessDenied);
  EXPECT_EQ(defaults.get(count), 1);
  EXPECT_EQ(::chmod(own.folder().c_str(), 0755), 0);
}

TEST(DateText, ComesBackAsItWas) {
  const std::vector<std::pair<Timestamp, std::string>> cases{
      {{.seconds = 0, .nanoseconds = 0}, "1970-01-01T00:00:00Z"},
      {{.seconds = -1, .nanoseconds = 999'999'999}, "1969-12-31T23:59:59.999999999Z"},
      {{.seconds = 951'782'400, .nanoseconds = 1'000}, "2000-02-29T00:00:00.000001Z"},
      {{.seconds = 253'402'300'799, .nanoseconds = 0}, "9999-12-31T23:59:59Z"},
      {{.seconds = -62'167'219'200, .nanoseconds = 0}, "0000-01-01T00:00:00Z"},
  };
  for (const auto& [instant, text] : cases) {
    EXPECT_EQ(DateText::text(instant), text);
    EXPECT_EQ(DateText::parse(text), instant) << text;
  }
  EXPECT_EQ(DateText::text({.seconds = INT64_MAX, .nanoseconds = 0}), "9999-12-31T23:59:59Z");
  for (const char* text : {"", "2000-01-01", "2000-02-30T00:00:00Z", "2000-01-01T24:00:00Z", "2000-01-01T00:00:00",
                           "2000-01-01T00:00:00.Z", "2000-01-01T00:00:00.1234567890Z", "2000-01-01T00:00:00.-1Z",
                           "-200-01-01T00:00:00Z", "2000-01-01T00:00:00+01:00"}) {
    EXPECT_EQ(DateText::parse(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace quillbrook
