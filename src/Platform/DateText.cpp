// SPDX-License-Identifier: MIT
#include "Platform/DateText.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>

namespace quillbrook::DateText {
namespace {

using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

constexpr std::size_t fractionDigits = 9;

constexpr sys_days firstDay{std::chrono::year(0) / 1 / 1};
constexpr sys_days endDay{std::chrono::year(10'000) / 1 / 1};

// Digits alone; nothing else is a number here.
std::optional<std::uint32_t> number(std::string_view digits) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

}  // namespace

std::string text(Timestamp instant) {
  constexpr std::int64_t first = sys_seconds(firstDay).time_since_epoch().count();
  constexpr std::int64_t last = sys_seconds(endDay).time_since_epoch().count() - 1;
  const sys_seconds shown{seconds(std::clamp(instant.seconds, first, last))};
  const auto day = std::chrono::floor<std::chrono::days>(shown);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(shown - day);
  std::string result = fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", static_cast<int>(date.year()),
                                   static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                   time.hours().count(), time.minutes().count(), time.seconds().count());
  if (instant.nanoseconds != 0) {
    result += fmt::format(".{:09}", instant.nanoseconds);
    result.erase(result.find_last_not_of('0') + 1);
  }
  return result + 'Z';
}

std::string localText(Timestamp instant) {
  const auto moment = static_cast<std::time_t>(instant.seconds);
  std::tm local{};
  if (::localtime_r(&moment, &local) == nullptr) return text(instant);
  constexpr int firstYear = 1'900;
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", std::int64_t{local.tm_year} + firstYear, local.tm_mon + 1,
                     local.tm_mday, local.tm_hour, local.tm_min);
}

std::optional<Timestamp> parse(std::string_view text) {
  constexpr std::string_view shape = "dddd-dd-ddTdd:dd:dd";
  if (text.size() <= shape.size() || text.back() != 'Z') return std::nullopt;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    const bool fits = shape[i] == 'd' ? text[i] >= '0' && text[i] <= '9' : text[i] == shape[i];
    if (!fits) return std::nullopt;
  }
  const auto field = [&](std::size_t at, std::size_t count) { return number(text.substr(at, count)).value_or(0); };
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(field(0, 4))),
                                         std::chrono::month(field(5, 2)), std::chrono::day(field(8, 2))};
  const std::uint32_t hour = field(11, 2);
  const std::uint32_t minute = field(14, 2);
  const std::uint32_t second = field(17, 2);
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;

  const std::string_view fraction = text.substr(shape.size(), text.size() - shape.size() - 1);
  std::uint32_t nanoseconds = 0;
  if (!fraction.empty()) {
    if (fraction.front() != '.' || fraction.size() == 1 || fraction.size() > fractionDigits + 1) return std::nullopt;
    std::string digits(fraction.substr(1));
    digits.resize(fractionDigits, '0');
    const auto value = number(digits);
    if (!value) return std::nullopt;
    nanoseconds = *value;
  }
  const auto whole = sys_seconds(sys_days(date)) + seconds(hour * 3'600 + minute * 60 + second);
  return Timestamp{.seconds = whole.time_since_epoch().count(), .nanoseconds = nanoseconds};
}

}  // namespace quillbrook::DateText
