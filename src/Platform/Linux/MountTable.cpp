// SPDX-License-Identifier: MIT
#include "Platform/Linux/MountTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>

#include "Platform/Linux/SystemCall.h"

namespace quillbrook::MountTable {
namespace {

std::string_view nextField(std::string_view& rest, char separator) {
  const auto end = rest.find(separator);
  const auto field = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return field;
}

template <typename Number>
std::optional<Number> number(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Space, tab, line feed and backslash stand as a backslash and three octal digits.
std::string unescaped(std::string_view field) {
  std::string text;
  for (std::size_t i = 0; i < field.size(); ++i) {
    unsigned value = 0;
    const bool isEscape = field[i] == '\\' && i + 3 < field.size() &&
                          std::from_chars(&field[i + 1], &field[i + 1] + 3, value, 8).ptr == &field[i + 1] + 3;
    text.push_back(isEscape ? static_cast<char>(value) : field[i]);
    if (isEscape) i += 3;
  }
  return text;
}

std::optional<MountEntry> parseLine(std::string_view line) {
  MountEntry entry;
  const auto identifier = number<std::uint64_t>(nextField(line, ' '));
  const auto parent = number<std::uint64_t>(nextField(line, ' '));
  if (!identifier || !parent) return std::nullopt;
  entry.identifier = *identifier;
  entry.parentIdentifier = *parent;
  nextField(line, ' ');  // the device
  entry.root = unescaped(nextField(line, ' '));
  entry.mountPoint = unescaped(nextField(line, ' '));
  nextField(line, ' ');  // the mount's own options
  while (!line.empty() && nextField(line, ' ') != "-") {
  }
  entry.type = unescaped(nextField(line, ' '));
  nextField(line, ' ');  // the source's name
  auto options = nextField(line, ' ');
  constexpr std::string_view ownerOption = "user_id=";
  while (!options.empty()) {
    const auto option = nextField(options, ',');
    if (option.starts_with(ownerOption)) entry.owner = number<std::uint32_t>(option.substr(ownerOption.size()));
  }
  return entry.type.empty() ? std::nullopt : std::optional(std::move(entry));
}

}  // namespace

std::vector<MountEntry> parse(std::string_view text) {
  std::vector<MountEntry> entries;
  while (!text.empty()) {
    if (auto entry = parseLine(nextField(text, '\n'))) entries.push_back(std::move(*entry));
  }
  return entries;
}

std::vector<MountEntry> read() {
  const auto file = SystemCall::openAt(AT_FDCWD, "/proc/self/mountinfo", O_RDONLY);
  if (!file) return {};
  std::string text;
  std::array<char, 16'384> piece;
  for (;;) {
    const auto got = SystemCall::retrying([&] { return ::read(file->get(), piece.data(), piece.size()); });
    if (got <= 0) return got == 0 ? parse(text) : std::vector<MountEntry>();
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace quillbrook::MountTable
