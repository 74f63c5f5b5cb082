// SPDX-License-Identifier: MIT
#include "Registration/NameCase.h"

#include <unicode/bytestream.h>
#include <unicode/casemap.h>

#include <algorithm>

#include "Platform/FilePath.h"

namespace quillbrook::NameCase {
namespace {

bool isAscii(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

std::string asciiLowercased(std::string_view name) {
  std::string result(name);
  for (char& byte : result) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return result;
}

}  // namespace

std::string lowercased(std::string_view name) {
  // ICU would put U+FFFD in the place of what is not UTF-8.
  if (std::ranges::all_of(name, isAscii) || !FilePath(std::string(name)).isUtf8()) return asciiLowercased(name);
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  UErrorCode error = U_ZERO_ERROR;
  icu::CaseMap::utf8ToLower("", 0, icu::StringPiece(name.data(), static_cast<int32_t>(name.size())), sink, nullptr,
                            error);
  return U_SUCCESS(error) != 0 ? result : asciiLowercased(name);
}

}  // namespace quillbrook::NameCase
