// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Timestamp.h"

// Instants as text that programs read: RFC 3339 in UTC, "2026-11-24T03:04:05.123456789Z"; a fraction of zero is left
// out. Any thread, whatever the locale.
namespace quillbrook::DateText {

// Of years 0 to 9999; what lies beyond becomes the first or the last instant of these.
[[nodiscard]] std::string text(Timestamp instant);

// "2026-11-24 03:04" as the clock on the user's wall shows it, for people; as text() where there is no such day there.
[[nodiscard]] std::string localText(Timestamp instant);

// What text() gives; nothing for any other text.
[[nodiscard]] std::optional<Timestamp> parse(std::string_view text);

}  // namespace quillbrook::DateText
