// SPDX-License-Identifier: MIT
#include "Volume/Administration/MountRecords.h"

#include <algorithm>
#include <ranges>
#include <utility>

#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Administration/ParsedNumber.h"
#include "Volume/Administration/SmallFile.h"

namespace quillbrook {
namespace {

// Cuts off and returns what stands before the next blank.
std::string_view nextField(std::string_view& line) {
  const std::size_t blank = line.find(' ');
  const std::string_view field = line.substr(0, blank);
  line.remove_prefix(blank == std::string_view::npos ? line.size() : blank + 1);
  return field;
}

// The kernel writes blank, tab, line feed, backslash and "#" as a backslash with three octal digits.
std::string withoutEscapes(std::string_view field) {
  const auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
  std::string bytes;
  bytes.reserve(field.size());
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size() && field[i + 1] <= '3' &&
        std::ranges::all_of(field.substr(i + 1, 3), isOctal)) {
      bytes += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
      i += 3;
    } else {
      bytes += field[i];
    }
  }
  return bytes;
}

// The value of an option, empty for one without; nothing if it is not among them.
std::optional<std::string_view> option(std::string_view options, std::string_view name) {
  for (const auto part : std::views::split(options, ',')) {
    const std::string_view text(part.begin(), part.end());
    if (text == name) return std::string_view{};
    if (text.starts_with(name) && text.substr(name.size()).starts_with('=')) return text.substr(name.size() + 1);
  }
  return std::nullopt;
}

std::optional<MountRecord> parseLine(std::string_view line) {
  MountRecord entry;
  const auto identifier = parsedNumber<std::uint64_t>(nextField(line));
  nextField(line);  // the mount above
  nextField(line);  // device
  nextField(line);  // the part of the file system that is mounted
  entry.mountPoint = FilePath(withoutEscapes(nextField(line)));
  const std::string_view mountOptions = nextField(line);
  // Optional fields, as many as there are, end with a lone hyphen.
  while (!line.empty() && nextField(line) != "-") {
  }
  entry.type = withoutEscapes(nextField(line));
  entry.source = FilePath(withoutEscapes(nextField(line)));
  const std::string_view superOptions = nextField(line);
  if (!identifier || entry.mountPoint.empty() || entry.type.empty() || superOptions.empty()) return std::nullopt;
  entry.identifier = *identifier;
  entry.isReadOnly = option(mountOptions, "ro").has_value() || option(superOptions, "ro").has_value();
  if (const auto user = option(superOptions, "user_id")) entry.userIdentifier = parsedNumber<std::uint32_t>(*user);
  return entry;
}

}  // namespace

std::vector<MountRecord> MountRecords::parse(std::string_view mountinfo) {
  std::vector<MountRecord> table;
  for (const auto line : std::views::split(mountinfo, '\n')) {
    if (auto entry = parseLine(std::string_view(line.begin(), line.end()))) table.push_back(std::move(*entry));
  }
  return table;
}

Result<std::vector<MountRecord>> MountRecords::read() {
  const auto text = SmallFile::read(FilePath("/proc/self/mountinfo"));
  if (!text) return std::unexpected(text.error());
  return parse(*text);
}

bool MountRecords::isVolume(const MountRecord& entry) {
  return entry.type == VolumeProtocol::mountType;
}

const MountRecord* MountRecords::at(const std::vector<MountRecord>& table, const FilePath& mountPoint) {
  const auto found = std::ranges::find(table.rbegin(), table.rend(), mountPoint, &MountRecord::mountPoint);
  return found == table.rend() ? nullptr : &*found;
}

}  // namespace quillbrook
