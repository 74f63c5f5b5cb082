// SPDX-License-Identifier: MIT
#include "Volume/Administration/UnitName.h"

#include <fmt/format.h>

namespace quillbrook::UnitName {
namespace {

constexpr std::string_view beforePath = "quillbrook-volume@";
constexpr std::string_view behindPath = ".service";

bool isPlain(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') || byte == ':' ||
         byte == '_' || byte == '.';
}

}  // namespace

std::string escapedPath(const FilePath& folder) {
  std::string escaped;
  bool isSeparated = false;
  for (const char byte : folder.bytes()) {
    if (byte == '/') {
      isSeparated = true;
      continue;
    }
    if (isSeparated && !escaped.empty()) escaped += '-';
    isSeparated = false;
    if (isPlain(byte) && (byte != '.' || !escaped.empty())) {
      escaped += byte;
    } else {
      escaped += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    }
  }
  return escaped.empty() ? "-" : escaped;
}

std::string ofFolder(const FilePath& folder) {
  return fmt::format("{}{}{}", beforePath, escapedPath(folder), behindPath);
}

bool isOfFolder(std::string_view name) {
  return name != templateFile && name.starts_with(beforePath) && name.ends_with(behindPath);
}

}  // namespace quillbrook::UnitName
