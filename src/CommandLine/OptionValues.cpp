// SPDX-License-Identifier: MIT
#include "CommandLine/OptionValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace quillbrook::OptionValues {
namespace {

struct Rule {
  std::string_view option;
  std::string_view words;
};
constexpr std::array rules{
    Rule{"--jobs", "a number from 1 to 8"},
    Rule{"--older-than", "a number of months or years, as 6months or 1year"},
    Rule{"--min-size", "a number of megabytes, as 10 or 0.5"},
    Rule{"--max-size", "a number of megabytes, as 10 or 0.5"},
    Rule{"--every", "daily, weekly or monthly"},
    Rule{"--extensions", "all, text, sourceCode or binary"},
};

}  // namespace

std::string_view expected(std::string_view option) {
  const auto* rule = std::ranges::find(rules, option, &Rule::option);
  return rule == rules.end() ? std::string_view() : rule->words;
}

std::optional<Age> age(std::string_view text) {
  constexpr int mostUnits = 9'999;
  Age age;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), age.value);
  if (error != std::errc() || age.value < 0 || age.value > mostUnits) return std::nullopt;
  const std::string_view unit = text.substr(static_cast<std::size_t>(end - text.data()));
  if (unit == "month" || unit == "months") {
    age.unit = DateUnit::month;
  } else if (unit != "year" && unit != "years") {
    return std::nullopt;
  }
  return age;
}

std::optional<ExtensionPreset> preset(std::string_view name) {
  if (name == "all") return ExtensionPreset::all;
  if (name == "text") return ExtensionPreset::text;
  if (name == "sourceCode") return ExtensionPreset::sourceCode;
  if (name == "binary") return ExtensionPreset::binary;
  return std::nullopt;
}

}  // namespace quillbrook::OptionValues
