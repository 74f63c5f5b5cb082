// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

// What a program wrote before it failed, as part of what a person is told. Any thread.
namespace quillbrook::ProgramWords {

// Without the white space at their end.
[[nodiscard]] std::string_view trimmed(std::string_view words);

// "It failed: no such thing." for "It failed" and "no such thing\n"; "It failed." for none.
[[nodiscard]] std::string behind(std::string text, std::string_view words);

// The sentence for a command that ended with that code.
[[nodiscard]] std::string failure(std::string_view command, int exitCode, std::string_view words);

}  // namespace quillbrook::ProgramWords
