// SPDX-License-Identifier: MIT
#include "Discovery/UserCalendar.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace quillbrook {
namespace {

// Farther back than any file's date, in either unit. ICU's 32-bit fields would wrap far beyond it.
constexpr int farthest = 100'000;

// The calendar owns its zone.
icu::TimeZone* zoneOf(const UserCalendar& user) {
  if (user.timeZone.empty()) return icu::TimeZone::createDefault();
  return icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(user.timeZone));
}

icu::Locale localeOf(const UserCalendar& user) {
  return user.locale.empty() ? icu::Locale::getDefault() : icu::Locale(user.locale.c_str());
}

}  // namespace

Timestamp UserCalendar::before(Timestamp instant, int count, DateUnit unit) const {
  constexpr double millisecondsPerSecond = 1'000;
  UErrorCode error = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(zoneOf(*this), localeOf(*this), error));
  // Only an ICU without its data fails.
  if (U_FAILURE(error) != 0) return instant;
  calendar->setTime(static_cast<double>(instant.seconds) * millisecondsPerSecond, error);
  calendar->add(unit == DateUnit::month ? UCAL_MONTH : UCAL_YEAR, -std::clamp(count, -farthest, farthest), error);
  const double milliseconds = calendar->getTime(error);
  if (U_FAILURE(error) != 0) return instant;
  return {.seconds = std::llround(milliseconds / millisecondsPerSecond), .nanoseconds = instant.nanoseconds};
}

}  // namespace quillbrook
