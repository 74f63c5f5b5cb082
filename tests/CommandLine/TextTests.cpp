// SPDX-License-Identifier: MIT

#include "CommandLine/Base64.h"
#include "CommandLine/KindTotals.h"
#include "CommandLine/PathText.h"
#include "CommandLine/ProgressMeter.h"
#include "CommandLine/SizeText.h"
#include "Support/Prelude.h"

namespace quillbrook {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(SizeText, RoundsToThreeDigitsAndCarriesIntoTheNextUnit) {
  const std::vector<std::pair<std::int64_t, const char*>> cases{
      {0, "0 B"},           {999, "999 B"},         {1'000, "1.00 kB"},     {9'996, "10.0 kB"},
      {99'951, "100 kB"},   {999'499, "999 kB"},    {999'500, "1.00 MB"},   {2'147'483'647, "2.15 GB"},
      {-1'234, "-1.23 kB"}, {INT64_MAX, "9.22 EB"}, {INT64_MIN, "-9.22 EB"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(SizeText::text(bytes), text) << bytes;
}

TEST(PathText, OnATerminalNothingSteersIt) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"plain/ä/日本\xf0\x9f\x98\x80", "plain/ä/日本\xf0\x9f\x98\x80"},
      {"a\nb\t\r\\n\x7f", R"(a\nb\t\r\\n\x7F)"},
      {"\x1b[31m\xc2\x9b!", R"(\x1B[31m\u{9B}!)"},
      {"\xe2\x80\xaegpj.exe\xe2\x80\xac", R"(\u{202E}gpj.exe\u{202C})"},
      {"x\xff\xc2", "x\xef\xbf\xbd\xef\xbf\xbd"}};
  for (const auto& [bytes, shown] : cases) {
    EXPECT_EQ(PathText::shown(FilePath(bytes), true), shown);
    EXPECT_EQ(PathText::shown(FilePath(bytes), false), bytes);
  }
  EXPECT_EQ(PathText::shownMessage("a\\b\n\x1b\xff", true), "a\\b\n\\x1B\xef\xbf\xbd");
}

TEST(Base64, PadsAsTheStandardSays) {
  // RFC 4648, section 10, and bytes above 0x7F
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foobar", "Zm9vYmFy"}, {"\xff\xfe\xfd", "//79"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(Base64::text(bytes), text);
}

TEST(KindTotals, KeepsTheKindsThatSaveMostAndAddsUpTheRest) {
  KindTotals kinds;
  for (const char* header : {"/a/one.H", "/a/two.h"}) kinds.add(FilePath(header), 100, 40);
  kinds.add(FilePath("/a/x.so"), 1'000, 100);
  for (const char* plain : {"/a.d/README", "/a/.profile"}) kinds.add(FilePath(plain), 10, 9);
  kinds.add(FilePath("/a/grown.png"), 50, 60);
  using Row = KindTotals::Row;
  EXPECT_EQ(kinds.rows(2), (std::vector<Row>{{".so", 1, 1'000, 100}, {".h", 2, 200, 80}, {"other kinds", 3, 70, 78}}));
  EXPECT_EQ(kinds.rows(10).back(), (Row{".png", 1, 50, 60}));
  EXPECT_EQ(kinds.total(), (Row{"total", 6, 1'270, 258}));

  // As many kinds as files do not grow without bound.
  for (int i = 0; i < 10'000; ++i) kinds.add(FilePath("cache." + std::to_string(i)), 2, 1);
  EXPECT_LT(kinds.rows(100'000).size(), 5'000U);
  EXPECT_EQ(kinds.total().files, 10'006U);
}

TEST(ProgressMeter, RateFollowsTheLastTenSeconds) {
  ProgressMeter meter;
  SteadyTime time{};
  meter.add(time, {0, 100'000});
  meter.add(time += 500ms, {500, 100'000});
  EXPECT_FALSE(meter.rate() || meter.remaining()) << "one moment is no rate";
  for (std::int64_t i = 1; i <= 20; ++i) meter.add(time += 1s, {i * 1'000, 100'000});
  EXPECT_DOUBLE_EQ(meter.rate().value_or(0), 1'000);
  EXPECT_EQ(meter.remaining(), 80s);
  for (int i = 1; i <= 10; ++i) meter.add(time += 1s, {20'000 + i * std::int64_t{4'000}, 100'000});
  EXPECT_DOUBLE_EQ(meter.rate().value_or(0), 4'000) << "the slow start is forgotten";
  for (int i = 1; i <= 10; ++i) meter.add(time += 1s, {60'000, 100'000});
  EXPECT_FALSE(meter.remaining().has_value()) << "nothing moves";
}

TEST(ProgressMeter, LineFitsTheTerminalAndNeverLeavesItsRange) {
  ProgressMeter meter;
  SteadyTime time{};
  meter.add(time, {0, 2'000'000'000});
  meter.add(time += 10s, {1'200'000'000, 2'000'000'000});
  EXPECT_EQ(meter.line(59), "[######----]  60%  1.20 GB of 2.00 GB  120 MB/s  0:07 left");
  for (const unsigned width : {0U, 20U, 500U}) EXPECT_LE(meter.line(width).size(), width == 0 ? 0 : width - 1);

  // The total shrinks while files turn out to need no work, and a file may have grown.
  const std::vector<std::pair<ProgressPosition, const char*>> cases{
      {{1'300'000'000, 1'250'000'000}, "100%"}, {{0, 0}, "100%"}, {{-5, -1}, "0 B of 0 B"}};
  for (const auto& [position, words] : cases) {
    meter.add(time += 1s, position);
    EXPECT_THAT(meter.line(80), HasSubstr(words));
  }
  ProgressMeter slow;
  slow.add(SteadyTime{}, {0, 40'000});
  slow.add(SteadyTime{} + 1s, {10, 40'000});
  EXPECT_THAT(slow.line(80), HasSubstr("1:06:39 left"));
}

}  // namespace
}  // namespace quillbrook
