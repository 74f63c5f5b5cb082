// SPDX-License-Identifier: MIT
#include "Platform/Linux/ProgramWords.h"

#include <fmt/format.h>

#include <cstddef>

namespace quillbrook::ProgramWords {

std::string_view trimmed(std::string_view words) {
  const std::size_t last = words.find_last_not_of(" \t\r\n");
  return last == std::string_view::npos ? std::string_view{} : words.substr(0, last + 1);
}

std::string behind(std::string text, std::string_view words) {
  words = trimmed(words);
  if (words.empty()) return text + '.';
  text += ": ";
  text += words;
  if (!words.ends_with('.')) text += '.';
  return text;
}

std::string failure(std::string_view command, int exitCode, std::string_view words) {
  return behind(fmt::format("`{}` failed with code {}; put right what it says and try again", command, exitCode),
                trimmed(words).empty() ? "it said nothing" : words);
}

}  // namespace quillbrook::ProgramWords
