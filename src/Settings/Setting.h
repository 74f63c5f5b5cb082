// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <expected>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/ErrorNumber.h"
#include "Platform/Timestamp.h"
#include "Platform/UserDefaults.h"

namespace quillbrook {

struct IntegerSetting {
  DefaultsKey<std::int64_t> key;
  std::int64_t minimum = 0;
  std::int64_t maximum = std::numeric_limits<std::int64_t>::max();
};
struct TextSetting {
  DefaultsKey<std::string> key;
  std::vector<std::string_view> words;  // none: any text
};

// A setting as somebody who types it needs to know it.
using Setting = std::variant<DefaultsKey<bool>, IntegerSetting, TextSetting, DefaultsKey<std::optional<Timestamp>>>;

// The text is none of the setting's values; `expected` tells people which are.
struct NoSuchValue {
  std::string expected;
  friend bool operator==(const NoSuchValue&, const NoSuchValue&) = default;
};
// The settings cannot be written; they are as they were.
struct SettingsNotWritten {
  ErrorNumber reason;
  friend bool operator==(const SettingsNotWritten&, const SettingsNotWritten&) = default;
};
using SettingError = std::variant<NoSuchValue, SettingsNotWritten>;

[[nodiscard]] std::string_view name(const Setting& setting);

// All of them, in the order in which people are shown them. Any thread.
namespace Settings {

[[nodiscard]] std::span<const Setting> all();
// Nothing for a name that is no setting's.
[[nodiscard]] const Setting* named(std::string_view name);

// What holds now. A date that nobody has set is nothing.
[[nodiscard]] std::optional<UserDefaults::Value> value(const Setting& setting, const UserDefaults& defaults);
// "true", "90", "all", "2026-11-24T03:00:00Z"; empty for nothing.
[[nodiscard]] std::string text(const std::optional<UserDefaults::Value>& value);
// Takes the same texts.
[[nodiscard]] std::expected<void, SettingError> set(const Setting& setting, std::string_view text,
                                                    UserDefaults& defaults);

}  // namespace Settings
}  // namespace quillbrook
