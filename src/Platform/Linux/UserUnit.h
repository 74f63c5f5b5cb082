// SPDX-License-Identifier: MIT
#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "Platform/FilePath.h"
#include "Platform/Linux/UserUnitError.h"

// Files of systemd units in the user's own folder, and the links by which they are enabled. The manager hears of
// nothing. Any thread, as long as nobody changes the environment.
namespace quillbrook::UserUnit {

// $XDG_CONFIG_HOME/systemd/user, where the unit of that name is kept.
[[nodiscard]] FilePath file(std::string_view unit);
// The link that has `target`, as "default.target", start it.
[[nodiscard]] FilePath link(std::string_view target, std::string_view unit);

// systemd.syntax(7) and systemd.service(5): a program between double quotes, with "%" taken as it is.
[[nodiscard]] std::string quoted(const FilePath& program);
// The text with every `placeholder` replaced.
[[nodiscard]] std::string filled(std::string_view text, std::string_view placeholder, std::string_view value);

// Puts the file in place, whole for every reader, and makes its folder. An older one is replaced.
[[nodiscard]] std::expected<void, UserUnitError> write(const FilePath& file, std::string_view text);
// A link that is there already stays: its name is what counts.
[[nodiscard]] std::expected<void, UserUnitError> enable(const FilePath& link, std::string_view unitFileName);
[[nodiscard]] bool isEnabled(const FilePath& link);
// The file or link; one that is not there is no failure.
[[nodiscard]] std::expected<void, UserUnitError> remove(const FilePath& path);

}  // namespace quillbrook::UserUnit
