// SPDX-License-Identifier: MIT

#include "Discovery/MegabyteText.h"
#include "Discovery/RegistrationTally.h"
#include "Discovery/SearchForm.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

TEST(MegabyteText, IsANumberOrNoLimit) {
  constexpr auto most = std::numeric_limits<std::uint64_t>::max();
  const std::vector<std::pair<std::string, std::optional<std::uint64_t>>> cases{
      {"10", 10'000'000},
      {"0.5", 500'000},
      {" 1.5 ", 1'500'000},
      {"\t+2\n", 2'000'000},
      {"　3　", 3'000'000},
      {"1e3", 1'000'000'000},
      {".0000019", 1},
      {"1e-400", 0},
      {"0." + std::string(400, '0') + "1", 0},
      {"1" + std::string(400, '0') + ".5", most},
      {"+-0", std::nullopt},
      {"0", 0},
      {"18446744073709", 18'446'744'073'709'000'704U},  // the nearest double
      {"18446744073710", most},
      {"99999999999999", most},
      {"1e400", most},
      {"inf", most},
      {"", std::nullopt},
      {"  ", std::nullopt},
      {"abc", std::nullopt},
      {"x", std::nullopt},
      {"-3", std::nullopt},
      {"-1e400", std::nullopt},
      {"nan", std::nullopt},
      {"1,5", std::nullopt},
      {"1 000", std::nullopt},
      {"5 MB", std::nullopt},
      {"+", std::nullopt},
      {"++1", std::nullopt},
      {"1\xFF", std::nullopt},
  };
  for (const auto& [text, bytes] : cases) EXPECT_EQ(MegabyteText::bytes(text), bytes) << text;
}

// 2024-03-31T12:00:00Z, and 00:30 on that day in Berlin, where summer time begins two hours later.
constexpr std::int64_t noon = 1'711'886'400;
constexpr std::int64_t night = noon - 45'000;

TEST(UserCalendar, GoesBackByTheUsersMonths) {
  constexpr auto month = DateUnit::month;
  constexpr auto year = DateUnit::year;
  const std::vector<std::tuple<UserCalendar, std::int64_t, int, DateUnit, std::int64_t>> cases{
      {{}, noon, 0, month, noon},
      {{"UTC", "en_US"}, noon, 1, month, 1'709'208'000},          // February 29
      {{"UTC", "en_US"}, 1'709'208'000, 1, year, 1'677'585'600},  // February 28, 2023
      {{"UTC", "en_US"}, noon, 1, year, 1'680'264'000},
      {{"UTC", "en_US"}, noon, 13, month, 1'677'585'600},
      {{"UTC", "th_TH"}, noon, 1, year, 1'680'264'000},             // counts years from elsewhere
      {{"UTC", "fa_IR"}, noon, 1, month, noon - 29 * 86'400},       // the month before has 29 days
      {{"Europe/Berlin", "de_DE"}, noon, 1, month, 1'709'211'600},  // noon is an hour later without summer time
      {{"Asia/Tokyo", "ja_JP"}, night, 1, month, night - 31 * 86'400},
  };
  for (const auto& [calendar, now, count, unit, expected] : cases) {
    EXPECT_EQ(calendar.before({now, 7}, count, unit), (Timestamp{expected, 7})) << calendar.locale << count;
  }
  // Farther than the calendar can count: still before every file.
  for (const char* locale : {"en_US", "fa_IR"}) {
    for (const DateUnit unit : {month, year}) {
      EXPECT_LT((UserCalendar{"UTC", locale}.before({noon, 0}, std::numeric_limits<int>::max(), unit)),
                (Timestamp{-100'000'000'000, 0}));
    }
  }
}

TEST(SearchForm, BecomesCriteria) {
  SearchForm untouched;
  untouched.rootURL = FilePath("/home/u");
  const SearchCriteria expected{.rootURL = FilePath("/home/u"),
                                .recursive = true,
                                .modifiedBefore = std::nullopt,
                                .minSize = 10'000'000,
                                .maxSize = std::nullopt,
                                .extensionFilter = std::nullopt,
                                .excludeAlreadyCompressed = true,
                                .excludeHidden = true};
  EXPECT_EQ(untouched.criteria({noon, 0}), expected);

  const SearchForm filled{.rootURL = FilePath("/x"),
                          .recursive = false,
                          .dateMode = SearchForm::DateMode::olderThan,
                          .dateValue = 1,
                          .dateUnit = DateUnit::month,
                          .minSizeMB = "none",
                          .maxSizeMB = "2",
                          .extPreset = ExtensionPreset::binary,
                          .excludeAlreadyCompressed = false,
                          .excludeHidden = false};
  const SearchCriteria narrowed{
      .rootURL = FilePath("/x"),
      .recursive = false,
      .modifiedBefore = Timestamp{1'709'208'000, 5},
      .minSize = std::nullopt,
      .maxSize = 2'000'000,
      .extensionFilter = ExtensionFilter::includeOnly(std::vector<std::string>{"dylib", "framework", "app"}),
      .excludeAlreadyCompressed = false,
      .excludeHidden = false};
  EXPECT_EQ(filled.criteria({noon, 5}, {"UTC", "en_US"}), narrowed);
}

TEST(ExtensionPreset, FiltersByItsList) {
  EXPECT_EQ(filterOf(ExtensionPreset::all), std::nullopt);
  for (const auto& [preset, in, out] :
       std::vector<std::tuple<ExtensionPreset, std::string, std::string>>{{ExtensionPreset::text, "svg", "swift"},
                                                                          {ExtensionPreset::sourceCode, "rs", "txt"},
                                                                          {ExtensionPreset::binary, "dylib", "h"}}) {
    EXPECT_TRUE(filterOf(preset)->passes(in)) << in;
    EXPECT_FALSE(filterOf(preset)->passes(out)) << out;
  }
}

TEST(RegistrationTally, CountsWhatIsNotRegisteredAsSkipped) {
  const FilePath url("/a");
  RegistrationTally tally;
  using Outcome = std::expected<RegistrationDecision, std::string>;
  for (const Outcome& outcome : {Outcome(WillRegister{url, ItemKind::file, false}), Outcome(SkipDuplicate{url}),
                                 Outcome(SkipChildOfRegistered{url}), Outcome(std::unexpect, "disk full"),
                                 Outcome(WillRegister{url, ItemKind::file, false})}) {
    tally.add(outcome);
  }
  EXPECT_EQ(tally, (RegistrationTally{.registered = 2, .skipped = 3}));
  EXPECT_EQ(tally.summary(), "登録: 2 件、スキップ: 3 件");
}

}  // namespace
}  // namespace quillbrook
