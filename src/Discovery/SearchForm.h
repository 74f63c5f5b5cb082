// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Discovery/DateUnit.h"
#include "Discovery/ExtensionPreset.h"
#include "Discovery/SearchCriteria.h"
#include "Discovery/UserCalendar.h"
#include "Platform/FilePath.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// What the user has filled in for a search, with what stands there at first.
struct SearchForm {
  enum class DateMode : std::uint8_t { none, olderThan };

  FilePath rootURL;  // at first the user's home folder
  bool recursive = true;
  DateMode dateMode = DateMode::none;
  int dateValue = 1;
  DateUnit dateUnit = DateUnit::year;
  std::string minSizeMB = "10";
  std::string maxSizeMB;
  ExtensionPreset extPreset = ExtensionPreset::all;
  bool excludeAlreadyCompressed = true;
  bool excludeHidden = true;

  // `now` is when the search starts.
  [[nodiscard]] SearchCriteria criteria(Timestamp now, const UserCalendar& calendar = {}) const;

  friend bool operator==(const SearchForm&, const SearchForm&) = default;
};

}  // namespace quillbrook
