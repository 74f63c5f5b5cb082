// SPDX-License-Identifier: MIT
#include "Discovery/MegabyteText.h"

#include <unicode/unistr.h>

#include <charconv>
#include <limits>
#include <string>
#include <system_error>

namespace quillbrook::MegabyteText {
namespace {

constexpr double bytesPerMegabyte = 1'000'000;

// Of any script: a Japanese keyboard types the ideographic blank.
std::string withoutBlanksAround(std::string_view text) {
  std::string result;
  icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))
      .trim()
      .toUTF8String(result);
  return result;
}

// A number that no double holds, too large or too close to 0.
double outOfRange(std::string_view number) {
  if (number.starts_with('-')) return -1;
  const auto exponent = number.find_first_of("eE");
  const bool isTiny = exponent != std::string_view::npos
                          ? number.substr(exponent + 1).starts_with('-')
                          : number.substr(0, number.find('.')).find_first_not_of('0') == std::string_view::npos;
  return isTiny ? 0 : std::numeric_limits<double>::infinity();
}

// All of the text, as the C locale writes numbers.
std::optional<double> numberOf(std::string_view text) {
  if (text.starts_with("+-")) return std::nullopt;
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc::invalid_argument || end != text.data() + text.size()) return std::nullopt;
  return error == std::errc::result_out_of_range ? outOfRange(text) : number;
}

}  // namespace

std::optional<std::uint64_t> bytes(std::string_view text) {
  const auto megabytes = numberOf(withoutBlanksAround(text));
  // Not a number fails every comparison.
  if (!megabytes || !(*megabytes >= 0)) return std::nullopt;
  constexpr auto most = std::numeric_limits<std::uint64_t>::max();
  const double scaled = *megabytes * bytesPerMegabyte;
  // 2 to the 64th: the most that 64 bits hold is no double.
  return scaled >= 0x1p64 ? most : static_cast<std::uint64_t>(scaled);
}

}  // namespace quillbrook::MegabyteText
