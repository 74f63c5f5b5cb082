// SPDX-License-Identifier: MIT
#include "Platform/Linux/MountTable.h"

#include <charconv>
#include <cstddef>
#include <utility>

#include "Platform/FilePath.h"
#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/SmallFile.h"

namespace quillbrook::MountTable {
namespace {

std::string_view nextField(std::string_view& rest, char separator) {
  const auto end = rest.find(separator);
  const auto field = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return field;
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

// Whether `option` is one of those that commas separate.
bool isListed(std::string_view options, std::string_view option) {
  while (!options.empty()) {
    if (nextField(options, ',') == option) return true;
  }
  return false;
}

std::optional<MountEntry> parseLine(std::string_view line) {
  MountEntry entry;
  const auto identifier = parsedNumber<std::uint64_t>(nextField(line, ' '));
  const auto parent = parsedNumber<std::uint64_t>(nextField(line, ' '));
  if (!identifier || !parent) return std::nullopt;
  entry.identifier = *identifier;
  entry.parentIdentifier = *parent;
  entry.device = nextField(line, ' ');
  entry.root = unescaped(nextField(line, ' '));
  entry.mountPoint = unescaped(nextField(line, ' '));
  entry.isReadOnly = isListed(nextField(line, ' '), "ro");
  while (!line.empty() && nextField(line, ' ') != "-") {
  }
  entry.type = unescaped(nextField(line, ' '));
  entry.source = unescaped(nextField(line, ' '));
  auto options = nextField(line, ' ');
  entry.isReadOnly = entry.isReadOnly || isListed(options, "ro");
  entry.admitsOthers = isListed(options, "allow_other");
  constexpr std::string_view ownerOption = "user_id=";
  while (!options.empty()) {
    const auto option = nextField(options, ',');
    if (option.starts_with(ownerOption)) entry.owner = parsedNumber<std::uint32_t>(option.substr(ownerOption.size()));
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

Result<std::vector<MountEntry>> read() {
  const auto text = SmallFile::read(FilePath(path));
  if (!text) return std::unexpected(text.error());
  return parse(*text);
}

}  // namespace quillbrook::MountTable
