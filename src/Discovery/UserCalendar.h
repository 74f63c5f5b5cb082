// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "Discovery/DateUnit.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// The calendar that a user lives by. An empty field is the running user's own.
struct UserCalendar {
  std::string timeZone;  // "Asia/Tokyo"
  std::string locale;    // "ja_JP"

  // So many units earlier, at the same time of day; a day that the month does not have becomes the month's last.
  [[nodiscard]] Timestamp before(Timestamp instant, int count, DateUnit unit) const;
};

}  // namespace quillbrook
