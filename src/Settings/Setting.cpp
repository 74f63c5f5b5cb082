// SPDX-License-Identifier: MIT
#include "Settings/Setting.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "Platform/DateText.h"
#include "Settings/SettingsKeys.h"

namespace quillbrook {
namespace {

const std::vector<Setting>& table() {
  static const std::vector<Setting> settings{
      TextSetting{SettingsKeys::ratioDisplayMode, {"remaining", "reduction"}},
      SettingsKeys::weeklyReminderEnabled,
      IntegerSetting{SettingsKeys::logRetentionDays, 1, 365},
      IntegerSetting{SettingsKeys::logRetentionMaxCount, 100, 100'000},
      SettingsKeys::hasShownFirstLaunchAbout,
      TextSetting{SettingsKeys::mainTableColumns, {}},
      IntegerSetting{SettingsKeys::registeredItemCountCache},
      IntegerSetting{SettingsKeys::minStarsFilter, 0, 5},
      TextSetting{SettingsKeys::statusFilter, {"all", "compressed", "uncompressed", "error"}},
      TextSetting{SettingsKeys::sizeFilter, {"all", "small", "medium", "large", "huge"}},
      TextSetting{SettingsKeys::kindFilter, {"all", "file", "folder"}},
      IntegerSetting{SettingsKeys::launchCount},
      SettingsKeys::lastLaunchAt,
      SettingsKeys::previousLaunchAt,
  };
  return settings;
}

template <typename T>
DefaultsKey<T> keyOf(DefaultsKey<T> key) {
  return key;
}
DefaultsKey<std::int64_t> keyOf(const IntegerSetting& setting) {
  return setting.key;
}
DefaultsKey<std::string> keyOf(const TextSetting& setting) {
  return setting.key;
}

std::unexpected<SettingError> noSuchValue(std::string expected) {
  return std::unexpected(SettingError(NoSuchValue{std::move(expected)}));
}

// What the text says, as the setting's type.
std::expected<bool, SettingError> parsed(const DefaultsKey<bool>&, std::string_view text) {
  if (text != "true" && text != "false") return noSuchValue("true or false");
  return text == "true";
}
std::expected<std::int64_t, SettingError> parsed(const IntegerSetting& setting, std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= setting.minimum &&
      number <= setting.maximum) {
    return number;
  }
  const std::string expected = "a whole number from " + std::to_string(setting.minimum);
  const bool isBounded = setting.maximum != std::numeric_limits<std::int64_t>::max();
  return noSuchValue(isBounded ? expected + " to " + std::to_string(setting.maximum) : expected + " on");
}
std::expected<std::string, SettingError> parsed(const TextSetting& setting, std::string_view text) {
  if (setting.words.empty()) {
    if (!FilePath(std::string(text)).isUtf8()) return noSuchValue("text in UTF-8");
    return std::string(text);
  }
  if (std::ranges::find(setting.words, text) != setting.words.end()) return std::string(text);
  std::string expected;
  for (const std::string_view word : setting.words) {
    if (!expected.empty()) expected += word == setting.words.back() ? " or " : ", ";
    expected += word;
  }
  return noSuchValue(expected);
}
std::expected<std::optional<Timestamp>, SettingError> parsed(const DefaultsKey<std::optional<Timestamp>>&,
                                                             std::string_view text) {
  const auto date = DateText::parse(text);
  if (!date) return noSuchValue("a date, as 2026-11-24T03:00:00Z");
  return date;
}

std::optional<UserDefaults::Value> held(const std::optional<Timestamp>& date) {
  if (!date) return std::nullopt;
  return DateText::text(*date);
}
std::optional<UserDefaults::Value> held(const auto& value) {
  return value;
}

}  // namespace

std::string_view name(const Setting& setting) {
  return std::visit([](const auto& kind) { return keyOf(kind).name; }, setting);
}

std::span<const Setting> Settings::all() {
  return table();
}

const Setting* Settings::named(std::string_view name) {
  const auto found = std::ranges::find(table(), name, [](const Setting& setting) { return quillbrook::name(setting); });
  return found == table().end() ? nullptr : &*found;
}

std::optional<UserDefaults::Value> Settings::value(const Setting& setting, const UserDefaults& defaults) {
  return std::visit([&](const auto& kind) { return held(defaults.get(keyOf(kind))); }, setting);
}

std::string Settings::text(const std::optional<UserDefaults::Value>& value) {
  struct TextOf {
    std::string operator()(bool isTrue) const { return isTrue ? "true" : "false"; }
    std::string operator()(std::int64_t number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return text; }
  };
  return value ? std::visit(TextOf{}, *value) : std::string();
}

std::expected<void, SettingError> Settings::set(const Setting& setting, std::string_view text, UserDefaults& defaults) {
  return std::visit(
      [&](const auto& kind) -> std::expected<void, SettingError> {
        const auto value = parsed(kind, text);
        if (!value) return std::unexpected(value.error());
        const auto written = defaults.set(keyOf(kind), *value);
        if (!written) return std::unexpected(SettingsNotWritten{written.error()});
        return {};
      },
      setting);
}

}  // namespace quillbrook
