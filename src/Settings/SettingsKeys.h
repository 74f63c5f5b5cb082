// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Timestamp.h"
#include "Platform/UserDefaults.h"

// Every setting of the program: its name in the settings file, its type, and what holds while nobody has set it.
namespace quillbrook::SettingsKeys {

inline constexpr DefaultsKey<std::string> ratioDisplayMode{"ratioDisplayMode", "remaining"};
// Monthly by now; the name stays, since settings are kept under it.
inline constexpr DefaultsKey<bool> weeklyReminderEnabled{"weeklyReminderEnabled", true};
inline constexpr DefaultsKey<std::int64_t> logRetentionDays{"logRetentionDays", 90};
inline constexpr DefaultsKey<std::int64_t> logRetentionMaxCount{"logRetentionMaxCount", 10'000};
inline constexpr DefaultsKey<bool> hasShownFirstLaunchAbout{"hasShownFirstLaunchAbout", false};
// The main table's columns, as its toolkit writes them down. Empty: as they come.
inline constexpr DefaultsKey<std::string> mainTableColumns{"mainTableColumns", ""};
// So that the reminder need not open the store.
inline constexpr DefaultsKey<std::int64_t> registeredItemCountCache{"registeredItemCountCache", 0};
inline constexpr DefaultsKey<std::int64_t> minStarsFilter{"minStarsFilter", 0};
inline constexpr DefaultsKey<std::string> statusFilter{"statusFilter", "all"};
inline constexpr DefaultsKey<std::string> sizeFilter{"sizeFilter", "all"};
inline constexpr DefaultsKey<std::string> kindFilter{"kindFilter", "all"};
inline constexpr DefaultsKey<std::int64_t> launchCount{"launchCount", 0};
inline constexpr DefaultsKey<std::optional<Timestamp>> lastLaunchAt{"lastLaunchAt", std::nullopt};
inline constexpr DefaultsKey<std::optional<Timestamp>> previousLaunchAt{"previousLaunchAt", std::nullopt};

}  // namespace quillbrook::SettingsKeys
